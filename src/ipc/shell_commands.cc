// SPDX-License-Identifier: Apache-2.0
//
// Shell commands. Every call waits for its command, so none leaves a process behind; output that nobody wants ends with
// the pipe. The pipe's and the file's descriptors are close-on-exec, for the sake of children that other threads start.

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>

#include "base/error_text.h"
#include "base/owners.h"
#include "ipc/log.h"
#include "ipc/report.h"
#include "vexora/ipc.h"

namespace {

constexpr const char *kRefusedCharacters = "&;|";
constexpr std::size_t kLineBuffer = 500;

struct WaitForCommand {
  void operator()(std::FILE *output) const { static_cast<void>(pclose(output)); }
};

/// A running command's output; giving it up waits for the command to end.
using Command = std::unique_ptr<std::FILE, WaitForCommand>;

Command start(const char *command) { return Command(popen(command, "re")); }

/// Reads at most `size` bytes, up to a newline when asked to stop there. Signals don't end it, zero bytes count like
/// any other; less than asked for means that the output ended.
std::size_t readOutput(std::FILE *output, char *buffer, std::size_t size, bool stopAtNewline) {
  std::size_t length = 0;
  while (length < size) {
    const int character = std::getc(output);
    if (character != EOF) {
      buffer[length++] = static_cast<char>(character);
      if (stopAtNewline && character == '\n') {
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

/// Copies the whole output; false when the file doesn't take it.
bool copyOutput(std::FILE *output, std::FILE *file) {
  std::array<char, kLineBuffer> line;
  for (;;) {
    const std::size_t length = readOutput(output, line.data(), line.size() - 1, true);
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
    std::printf("%s(%d)Input parameters error!\n", kIpcModule, __LINE__);
    return -1;
  }
  if (!start(command)) {
    std::fprintf(stderr, "execute command failed: %s", vexora::ErrorText(errno).get());
    return -1;
  }
  return 0;
}

int VexoraCommandToBuff(const char *command, char *buffer, int size) {
  if (command == nullptr || buffer == nullptr || size <= 0) {
    return -1;
  }
  const Command output = start(command);
  if (!output) {
    LOG_CRITICAL("popen failed.\n");
    return -1;
  }
  const std::size_t length = readOutput(output.get(), buffer, static_cast<std::size_t>(size) - 1, true);
  // A buffer of one byte has room for the terminator alone.
  if (length != 0 || size == 1) {
    buffer[length] = '\0';
  }
  return 0;
}

int VexoraCommandToBuffEx(const char *command, void *buffer, unsigned size) {
  if (command == nullptr || buffer == nullptr || size == 0) {
    return -1;
  }
  const Command output = start(command);
  if (!output) {
    std::puts("popen failed.");
    return -1;
  }
  static_cast<void>(readOutput(output.get(), static_cast<char *>(buffer), size, false));
  return 0;
}

int VexoraCommonCommandToFile(const char *command, const char *path) {
  if (command == nullptr || path == nullptr) {
    return -1;
  }
  const Command output = start(command);
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
