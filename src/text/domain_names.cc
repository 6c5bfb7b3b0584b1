// SPDX-License-Identifier: Apache-2.0
//
// The spelling of domain and host names; nothing is looked up. The three checks differ in strictness, and callers rely
// on each as it is.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "vexora/text.h"

namespace {

constexpr std::size_t kMaxName = 255;
constexpr std::size_t kMaxLabel = 63;

bool isLetterOrDigit(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); }

/// Returns whether a label, which is never empty, has only letters, digits and hyphens, and no hyphen in front.
bool isLabel(std::string_view label) {
  return label.size() <= kMaxLabel && isLetterOrDigit(label.front()) &&
         std::all_of(label.begin(), label.end(), [](char c) { return isLetterOrDigit(c) || c == '-'; });
}

/// Several full stops separate labels as one does. The labels with one full stop each must add up to the name's length
/// or one more, so a name has one extra full stop at most. The sum is a byte: a name of 255 characters without an extra
/// full stop wraps it to 0 and is refused.
bool isDomain(std::string_view name) {
  if (name.empty() || name.size() > kMaxName || name.back() == '.') {
    return false;
  }
  std::uint8_t count = 0;
  for (auto at = name.begin(); at != name.end();) {
    const auto begin = std::find_if(at, name.end(), [](char c) { return c != '.'; });
    at = std::find(begin, name.end(), '.');
    const std::string_view label(begin, at);
    if (!isLabel(label)) {
      return false;
    }
    count = static_cast<std::uint8_t>(count + label.size() + 1);
  }
  return count == name.size() || count == name.size() + 1;
}

/// Letters and digits of the current locale.
bool isAlphanumeric(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }

/// Stops at the terminator of a text shorter than `length`: NUL is no character of a host name.
bool isHostName(const char *text, unsigned length) {
  if (length == 0 || length > kMaxName || !isAlphanumeric(text[0])) {
    return false;
  }
  for (unsigned i = 1; i < length; ++i) {
    if (!isAlphanumeric(text[i]) && text[i] != '-') {
      return false;
    }
  }
  return text[length - 1] != '-';
}

}  // namespace

// NOLINTNEXTLINE(readability-non-const-parameter): the daemons' sources declare it so
int vexora_isvalid_domain(char *text) {
  const char *const stop = text == nullptr ? nullptr : std::strrchr(text, '.');
  return stop != nullptr && stop != text && std::isalpha(static_cast<unsigned char>(stop[1])) != 0 ? 0 : -1;
}

int VexoraIsDomain(const char *text) {
  return text != nullptr && isDomain({text, strnlen(text, kMaxName + 1)}) ? 0 : -1;
}

int vexora_valid_hostname(const char *text, unsigned length) {
  return text != nullptr && isHostName(text, length) ? 0 : -1;
}
