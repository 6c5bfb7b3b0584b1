// SPDX-License-Identifier: Apache-2.0
//
// The kinds of values that the library can check: by its validators, or against its word tables.
#pragma once

#include <optional>
#include <span>
#include <string>

namespace vexora::tool {

struct Kind {
  const char *name;
  const char *library;                        // its functions or its table; "" where the tool decides
  const char *meaning;                        // what a validator takes, what the words are for
  bool (*accepts)(const std::string &value);  // null: one of the words
  bool piecewise = true;                      // beginnings of the value show where it goes wrong
  std::span<const char *> words = {};         // by their numbers; some are NULL
};

std::span<const Kind> kinds();

/// The kind of a name, or of a function or table of the library; null when there is none.
const Kind *kindNamed(const std::string &name);

/// A word's number; nothing for other values.
std::optional<unsigned> numberOf(const Kind &kind, const std::string &value);

bool takes(const Kind &kind, const std::string &value);

/// The words, in quotes.
std::string wordsOf(const Kind &kind);

/// Why a value is refused, with what the library has to say to it; empty when it isn't.
std::string refusal(const Kind &kind, const std::string &value);

}  // namespace vexora::tool
