// SPDX-License-Identifier: Apache-2.0
//
// What the checks of user input compare with, all in one place: character sets, password classes, device types. The
// sets are plain texts for the platform's string calls; none holds the byte 0, which ends a text, and none a byte from
// 0x80 up.
#pragma once

#include <cstdint>
#include <cstring>

#define CONTROLS_FROM_01_TO_1F                                       \
  "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D\x0E\x0F\x10" \
  "\x11\x12\x13\x14\x15\x16\x17\x18\x19\x1A\x1B\x1C\x1D\x1E\x1F"

namespace vexora {

/// Not in an account's user name.
inline constexpr char kUserNameForbidden[] = R"(~`!#$%^&*()+={}[]|\:;"'<>?,./ )" CONTROLS_FROM_01_TO_1F "\x7F";
/// Not in an SMTP user or host name, where the full stop is allowed.
inline constexpr char kSmtpNameForbidden[] = R"(~`!#$%^&*()+={}[]|\:;"'<>?,/ )" CONTROLS_FROM_01_TO_1F "\x7F";
/// Not in the examined part of a sender address.
inline constexpr char kSenderForbidden[] = "'" CONTROLS_FROM_01_TO_1F "\x7F\\";
/// Not in a password.
inline constexpr char kPasswordForbidden[] = CONTROLS_FROM_01_TO_1F " \x7F";
/// Not in a mail address outside quoted strings, but for the '@' between its parts.
inline constexpr char kMailSpecials[] = R"(()<>@,;:\"[])";
/// Told apart from harmless text because shells and queries give them a meaning.
inline constexpr char kSensitive[] = "*()&=|";
/// Not at the beginning of any user name.
inline constexpr char kNameStartForbidden[] = ".-@_";

static_assert(sizeof kUserNameForbidden == 62 + 1);
static_assert(sizeof kSmtpNameForbidden == 61 + 1);
static_assert(sizeof kSenderForbidden == 34 + 1);
static_assert(sizeof kPasswordForbidden == 33 + 1);
static_assert(sizeof kMailSpecials == 12 + 1);
static_assert(sizeof kSensitive == 6 + 1);

inline constexpr char kBinaryDigits[] = "01";
inline constexpr char kDecimalDigits[] = "0123456789";
inline constexpr char kHexDigits[] = "0123456789ABCDEFabcdef";

/// The kinds of characters that a password mixes, as extended regular expressions. The last, an operator of the
/// platform's own, takes whatever is no letter, digit or underscore.
inline constexpr const char *kPasswordClasses[] = {"[a-z]+", "[A-Z]+", "[0-9]+", "(\\W+)"};

/// The sensor types whose traps can be configured, in the order of their numbers 1 to 35; 0xC0 and above are the
/// maker's own, and 0x1B has two numbers.
inline constexpr std::uint8_t kTrapDeviceTypes[] = {
    0x04, 0x05, 0x07, 0x08, 0x0B, 0x0C, 0x0D,  //
    0x0F, 0x10, 0x11, 0x12, 0x14, 0x15, 0x17,  //
    0x18, 0x19, 0x1B, 0x1D, 0x1E, 0x1F, 0x20,  //
    0x22, 0x23, 0x27, 0x28, 0xC9, 0xD0, 0xD1,  //
    0xD2, 0x1B, 0xD3, 0xD5, 0xD7, 0x0A, 0xFF,
};
static_assert(sizeof kTrapDeviceTypes == 35);

inline bool isOneOf(const char *set, char character) {
  return character != '\0' && std::strchr(set, character) != nullptr;
}

inline bool hasOneOf(const char *set, const char *text) { return std::strpbrk(text, set) != nullptr; }

}  // namespace vexora

#undef CONTROLS_FROM_01_TO_1F
