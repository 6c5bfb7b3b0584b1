// SPDX-License-Identifier: Apache-2.0
// Debug output of the host: standard error, one write per message, so that lines of several threads and processes never
// mix.

#include <stdarg.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

#include "firmware/unix.h"

namespace {

// A line with its tag and newline stays below PIPE_BUF, up to which a write to a pipe is atomic.
constexpr size_t kTextSize = 2000;
constexpr size_t kTagSize = 32;

__attribute__((format(printf, 3, 0))) void writeLine(const char *output, int level, const char *format,
                                                     va_list arguments) {
  const int savedErrno = errno;
  std::array<char, kTagSize + kTextSize + 2> line{};
  auto length = static_cast<size_t>(snprintf(line.data(), kTagSize, "[%s %d] ", output, level));
  errno = savedErrno;  // for "%m"
  const int textLength = vsnprintf(&line[length], kTextSize + 1, format, arguments);
  length += std::min(static_cast<size_t>(std::max(textLength, 0)), kTextSize);
  if (line[length - 1] != '\n') {
    line[length++] = '\n';
  }
  while (write(STDERR_FILENO, line.data(), length) < 0 && errno == EINTR) {
  }
  errno = savedErrno;
}

}  // namespace

void XDBG_LINUXAPP_DbgOut(int level, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  writeLine("dbg", level, format, arguments);
  va_end(arguments);
}

void XDBG_LINUXAPP_MaintenceOut(int level, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  writeLine("maint", level, format, arguments);
  va_end(arguments);
}
