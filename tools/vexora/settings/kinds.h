// SPDX-License-Identifier: Apache-2.0
//
// The kinds of values that the library checks, by a validator or against a table of words.
#pragma once

#include <optional>
#include <span>
#include <string>

namespace vexora::tool {

struct Kind {
  const char *name;
  const char *library;                        // its functions or table; "" when only the tool checks
  const char *meaning;                        // the values that are accepted, or the words' purpose
  bool (*accepts)(const std::string &value);  // null for a table of words
  bool piecewise = true;                      // the longest accepted beginning shows where the mistake is
  std::span<const char *> words = {};         // indexed by number; some are NULL
};

std::span<const Kind> kinds();

/// Finds a kind by its name or the name of its function or table. Returns null when there is none.
const Kind *kindNamed(const std::string &name);

/// Returns a word's number, or nothing for other values.
std::optional<unsigned> numberOf(const Kind &kind, const std::string &value);

bool takes(const Kind &kind, const std::string &value);

std::string wordsOf(const Kind &kind);

/// Returns why a value is refused, with the library's own message; "" when it is accepted.
std::string refusal(const Kind &kind, const std::string &value);

}  // namespace vexora::tool
