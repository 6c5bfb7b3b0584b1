// SPDX-License-Identifier: Apache-2.0
//
// Texts made of digits, and texts free of characters that mean something to a shell or a query.

#include <cctype>
#include <cstddef>
#include <cstring>

#include "text/characters.h"
#include "vexora/text.h"

namespace {

const char *digitsOf(unsigned base) {
  switch (base) {
    case 2:
      return "01";
    case 10:
      return "0123456789";
    case 16:
      return vexora::text::kHexDigits;
    default:
      return nullptr;
  }
}

/// A prefix needs something behind it.
bool hasHexPrefix(const char *text) { return text[0] == '0' && (text[1] == 'x' || text[1] == 'X') && text[2] != '\0'; }

/// Hexadecimal numbers come from files as well, where a line's end ends them.
bool isEnd(char character, bool isHex) {
  return character == '\0' || (isHex && (character == '\r' || character == '\n'));
}

}  // namespace

int vexora_valid_digit(const char *text) {
  while (std::isdigit(static_cast<unsigned char>(*text)) != 0) {
    ++text;
  }
  return *text == '\0' ? 0 : -1;
}

int vexora_verify_strisdigit(const char *text, unsigned base) {
  const char *const digits = digitsOf(base);
  if (text == nullptr || digits == nullptr) {
    return 0;
  }
  const bool isHex = base == 16;
  if (isHex && hasHexPrefix(text)) {
    text += 2;
  }
  const std::size_t length = std::strspn(text, digits);
  return length > 0 && isEnd(text[length], isHex) ? 1 : 0;
}

int FilterSensitiveWordsForSec(const char *text) {
  if (text == nullptr) {
    return -1;
  }
  return vexora::text::hasOneOf("*()&=|", text) ? 1 : 0;
}

int vexora_verify_sensitivewords(const char *text) { return FilterSensitiveWordsForSec(text) == 0 ? 0 : -1; }
