// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdarg>
#include <cstddef>

namespace vexora {

/// The text of one log record, as both logs write it: at most 1,023 characters, the last of them a
/// newline or a tab.
struct LogText {
  static constexpr std::size_t kSize = 1024;
  char text[kSize];
  std::size_t length;

  /// Renders a message. A text without a newline or tab at its end gets a newline, in place of
  /// its last character when the text is full. False when the platform returns an error: the text
  /// then holds nothing to print. For some formats the fortified C library ends the process.
  bool render(const char *format, std::va_list arguments) __attribute__((format(printf, 2, 0)));
};

}  // namespace vexora
