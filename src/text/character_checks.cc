// SPDX-License-Identifier: Apache-2.0
//
// Texts of digits, and texts without characters that have a meaning in a shell or a query.

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

bool hasHexPrefix(const char *text) { return text[0] == '0' && (text[1] == 'x' || text[1] == 'X'); }

/// Hexadecimal numbers may come from files, where the end of the line ends them.
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
