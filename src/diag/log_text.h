// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdarg>
#include <cstddef>

namespace vexora {

/// The text of one record of either log: at most 1,023 characters, the last of them a newline or a tab.
struct LogText {
  static constexpr std::size_t kSize = 1024;
  char text[kSize];
  std::size_t length;

  /// Renders a message. A text that does not end in a newline or tab gets a newline, which replaces the last character
  /// when the text is full. Returns false when printf fails: nothing may be printed then. Hazard: for some formats the
  /// fortified C library ends the process.
  bool render(const char *format, std::va_list arguments) __attribute__((format(printf, 2, 0)));
};

}  // namespace vexora
