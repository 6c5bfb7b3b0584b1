// SPDX-License-Identifier: Apache-2.0
//
// Shell commands. Every call waits until its command has ended, so no process is left. Hazard: output that is not read
// ends the command with SIGPIPE.

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "base/command.h"
#include "base/error_text.h"
#include "base/owners.h"
#include "base/report.h"
#include "vexora/diag.h"
#include "vexora/ipc.h"

namespace {

constexpr const char *kRefusedCharacters = "&;|";
constexpr std::size_t kLineBuffer = 500;

/// Copies the whole output; returns false when the file can't be written.
bool copyOutput(std::FILE *output, std::FILE *file) {
  std::array<char, kLineBuffer> line;
  for (;;) {
    const std::size_t length = vexora::readOutput(output, line.data(), line.size() - 1, '\n');
    if (length == 0) {
      return true;
    }
    if (std::fwrite(line.data(), length, 1, file) != 1) {
      return false;
    }
  }
}

}  // namespace

int CheckCommandSpecial(const char *command) {
  return command == nullptr || std::strpbrk(command, kRefusedCharacters) != nullptr ? -1 : 0;
}

int dwPopenExcute(const char *command) {
  if (command == nullptr) {
    std::printf("%s(%d)Input parameters error!\n", vexora::kBaseFunction, __LINE__);
    return -1;
  }
  if (!vexora::startCommand(command)) {
    std::fprintf(stderr, "execute command failed: %s", vexora::ErrorText(errno).get());
    return -1;
  }
  return 0;
}

int VexoraCommandToBuff(const char *command, char *buffer, int size) {
  if (command == nullptr || buffer == nullptr || size <= 0) {
    return -1;
  }
  const vexora::Command output = vexora::startCommand(command);
  if (!output) {
    VexoraDebug(vexora::kCritical, vexora::kQueueLog, "popen failed.\n");
    return -1;
  }
  const std::size_t length = vexora::readOutput(output.get(), buffer, static_cast<std::size_t>(size) - 1, '\n');
  // A buffer of one byte receives only the terminator.
  if (length != 0 || size == 1) {
    buffer[length] = '\0';
  }
  return 0;
}

int VexoraCommandToBuffEx(const char *command, void *buffer, unsigned size) {
  if (command == nullptr || buffer == nullptr || size == 0) {
    return -1;
  }
  const vexora::Command output = vexora::startCommand(command);
  if (!output) {
    std::puts("popen failed.");
    return -1;
  }
  static_cast<void>(vexora::readOutput(output.get(), static_cast<char *>(buffer), size));
  return 0;
}

int VexoraCommonCommandToFile(const char *command, const char *path) {
  if (command == nullptr || path == nullptr) {
    return -1;
  }
  const vexora::Command output = vexora::startCommand(command);
  if (!output) {
    return -1;
  }
  vexora::Stream file(std::fopen(path, "w+e"));
  if (!file) {
    return -1;
  }
  const bool copied = copyOutput(output.get(), file.get());
  return std::fclose(file.release()) == 0 && copied ? 0 : -1;
}
