// SPDX-License-Identifier: Apache-2.0
//
// Shell commands whose output is read.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>

namespace vexora {

struct WaitForCommand {
  void operator()(std::FILE *output) const { static_cast<void>(pclose(output)); }
};

/// The output of a running command. Destroying it waits until the command has ended.
using Command = std::unique_ptr<std::FILE, WaitForCommand>;

inline Command startCommand(const char *command) { return Command(popen(command, "re")); }

/// Reads at most `size` bytes, and none after a `delimiter`. Signals don't end it, and zero bytes are data. A shorter
/// result means that the output has ended.
inline std::size_t readOutput(std::FILE *output, char *buffer, std::size_t size, int delimiter = EOF) {
  std::size_t length = 0;
  while (length < size) {
    const int character = std::getc(output);
    if (character != EOF) {
      buffer[length++] = static_cast<char>(character);
      if (character == delimiter) {
        break;
      }
    } else if (std::ferror(output) != 0 && errno == EINTR) {
      std::clearerr(output);
    } else {
      break;
    }
  }
  return length;
}

}  // namespace vexora
