// SPDX-License-Identifier: Apache-2.0
//
// Mail addresses: a local part, which may contain quoted strings, '@' and a domain. Only the first characters of an
// address are examined.

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "text/characters.h"
#include "vexora/text.h"

namespace {

constexpr std::size_t kExaminedAddress = 64;
constexpr std::size_t kExaminedSender = 16;

/// Refused outside quoted strings, except for the '@' between the parts.
constexpr const char *kMailSpecials = R"(()<>@,;:\"[])";

constexpr std::size_t kNone = std::string_view::npos;

/// Characters of a quoted string: printable ones and the space.
bool isQuotable(char c) { return c >= ' ' && c <= '~'; }

/// Characters of the rest of an address.
bool isPlain(char c) { return c > ' ' && c <= '~' && !vexora::text::isOneOf(kMailSpecials, c); }

/// Returns the position after a quoted string's closing quote. `at` is the position after the opening one.
std::size_t endOfQuoted(std::string_view text, std::size_t at) {
  bool escaped = false;
  for (; at < text.size() && isQuotable(text[at]); ++at) {
    if (text[at] == '"' && !escaped) {
      return at + 1;
    }
    escaped = text[at] == '\\' && !escaped;
  }
  return kNone;
}

/// Returns the position of the '@' that ends the local part; nothing when there is none or the local part is refused.
std::size_t endOfLocalPart(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const bool startsWord = at == 0 || text[at - 1] == '.';
    if (text[at] == '@') {
      return startsWord ? kNone : at;
    }
    if (text[at] == '"' && startsWord) {
      at = endOfQuoted(text, at + 1);
      if (at >= text.size() || (text[at] != '@' && text[at] != '.')) {
        return kNone;
      }
    } else if (isPlain(text[at])) {
      ++at;
    } else {
      return kNone;
    }
  }
  return kNone;
}

/// One or more words with single full stops between them.
bool isMailDomain(std::string_view text) {
  char before = '.';
  for (const char c : text) {
    if (!isPlain(c) || (c == '.' && before == '.')) {
      return false;
    }
    before = c;
  }
  return before != '.';
}

}  // namespace

int vexora_isvalid_email(const char *address) {
  std::string_view text(address, strnlen(address, kExaminedAddress));
  const std::size_t at = endOfLocalPart(text);
  if (at == kNone) {
    return -1;
  }
  text.remove_prefix(at + 1);
  return isMailDomain(text) ? 0 : -1;
}

int vexora_isvalid_senderaddress(const char *address) {
  const std::string_view examined(address, strnlen(address, kExaminedSender));
  if (examined.find_first_of("'\\" VEXORA_CONTROLS) != kNone) {
    std::puts("The special character in the requested sender address is impermissible.");
    return -1;
  }
  return 0;
}
