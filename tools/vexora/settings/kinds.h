// SPDX-License-Identifier: Apache-2.0
//
// The kinds of values that the library can check.
#pragma once

#include <span>
#include <string>

namespace vexora::tool {

/// A validator of the library under the name that a person asks for.
struct Validator {
  const char *name;
  const char *function;
  const char *rule;  // what it takes
  bool (*accepts)(const std::string &value);
  bool piecewise = true;  // beginnings of the value tell where it goes wrong
};

/// A setting of fixed words.
struct WordTable {
  const char *name;
  const char *table;
  const char *meaning;
  std::span<const char *> words;  // some are NULL
};

std::span<const Validator> validators();
std::span<const WordTable> wordTables();

}  // namespace vexora::tool
