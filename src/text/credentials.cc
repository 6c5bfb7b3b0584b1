// SPDX-License-Identifier: Apache-2.0
//
// User names and passwords.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "base/owners.h"
#include "text/characters.h"
#include "text/pattern.h"
#include "vexora/text.h"

namespace {

/// Refused in an account's user name. SMTP names may contain the first, the full stop.
constexpr char kNameForbidden[] = R"(.~`!#$%^&*()+={}[]|\:;"'<>?,/ )" VEXORA_CONTROLS;
constexpr const char *kNameStartForbidden = ".-@_";

constexpr const char *kPasswordForbidden = " " VEXORA_CONTROLS;
/// The classes of characters in a password, as extended regular expressions. The last one, an extension of the C
/// library, matches everything but letters, digits and underscores.
constexpr const char *kPasswordClasses[] = {"[a-z]+", "[A-Z]+", "[0-9]+", "(\\W+)"};
constexpr int kNeededClasses = 3;

struct NameKind {
  const char *forbidden;
  const char *message;
};

/// One row a mode; the last row is for all other modes.
constexpr NameKind kNameKinds[] = {
    {kNameForbidden, "The special character in the requested username is impermissible."},
    {kNameForbidden + 1, "The special character in the requested SMTP username is impermissible."},
    {kNameForbidden + 1, "The special character in the requested SMTP hostname is impermissible."},
};

const NameKind &kindOf(int mode) { return kNameKinds[mode == 0 || mode == 1 ? mode : 2]; }

/// Returns a copy of the first `most` characters; null when memory is short or `most` is negative.
vexora::HeapBlock<char> copyOf(const char *text, int most) {
  if (most < 0) {
    return nullptr;
  }
  const auto size = static_cast<std::size_t>(most);
  vexora::HeapBlock<char> copy(static_cast<char *>(std::calloc(size + 1, 1)));
  if (copy) {
    std::memcpy(copy.get(), text, strnlen(text, size));
  }
  return copy;
}

/// Returns false also when memory is short: a lack of memory can only refuse.
bool matches(const char *expression, const char *text) {
  const vexora::text::Pattern pattern(expression);
  return pattern && pattern.match(text) == 0;
}

}  // namespace

int vexora_isvalid_username(const char *name, int maxLength, int mode) {
  if (name[0] == '\0') {
    std::printf("Setting the NULL user");
    return -1;
  }
  if (std::isdigit(static_cast<unsigned char>(name[0])) != 0) {
    std::puts("The first character in the username cannot be a numeric.");
    return -1;
  }
  if (vexora::text::isOneOf(kNameStartForbidden, name[0])) {
    std::puts("The first character in the username cannot be a special character.");
    return -1;
  }
  const vexora::HeapBlock<char> examined = copyOf(name, maxLength);
  if (!examined) {
    std::printf("%s : Cannot allocate memory\n", __func__);
    return -1;
  }
  const NameKind &kind = kindOf(mode);
  if (vexora::text::hasOneOf(kind.forbidden, examined.get())) {
    std::puts(kind.message);
    return -1;
  }
  return 0;
}

int vexora_isvalid_passwd(const char *password) {
  if (password == nullptr || password[0] == '\0') {
    return -1;
  }
  const auto classes = std::count_if(std::begin(kPasswordClasses), std::end(kPasswordClasses),
                                     [&](const char *pattern) { return matches(pattern, password); });
  return classes >= kNeededClasses && !vexora::text::hasOneOf(kPasswordForbidden, password) ? 0 : -1;
}
