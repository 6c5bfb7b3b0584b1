// SPDX-License-Identifier: Apache-2.0
//
// Sets of characters, as texts for strchr and its relatives. No set can contain the byte 0.
#pragma once

#include <cstring>

/// The control characters, as a part of a longer literal.
#define VEXORA_CONTROLS                                              \
  "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D\x0E\x0F\x10" \
  "\x11\x12\x13\x14\x15\x16\x17\x18\x19\x1A\x1B\x1C\x1D\x1E\x1F\x7F"

namespace vexora::text {

inline constexpr char kHexDigits[] = "0123456789ABCDEFabcdef";

inline bool isOneOf(const char *set, char character) {
  return character != '\0' && std::strchr(set, character) != nullptr;
}

inline bool hasOneOf(const char *set, const char *text) { return std::strpbrk(text, set) != nullptr; }

}  // namespace vexora::text
