// SPDX-License-Identifier: Apache-2.0

#include "diag/handler_output.h"

#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "base/retry.h"
#include "diag/guarded.h"

namespace vexora {

namespace {

constexpr int kLongestWaitMs = 1000;

// The reporter whose write found no room, or was itself cut short. A process forked meanwhile has another one.
constinit volatile long stuckReporter = 0;

/// Takes back the signal of a write that nobody can read. Its handler would write again, and so without end.
void dropBrokenPipeSignal() {
  sigset_t brokenPipe;
  static_cast<void>(sigemptyset(&brokenPipe));
  static_cast<void>(sigaddset(&brokenPipe, SIGPIPE));
  const timespec atOnce{};
  static_cast<void>(sigtimedwait(&brokenPipe, nullptr, &atOnce));
}

/// False when the reader left no space for too long.
bool writeAll(std::string_view text) {
  while (!text.empty()) {
    pollfd output{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
    if (retryInterrupted([&] { return poll(&output, 1, kLongestWaitMs); }) == 0) {
      return false;
    }
    // A pipe that is ready takes this much without blocking, unless another thread is quicker to fill it.
    const std::string_view piece = text.substr(0, PIPE_BUF);
    const ssize_t written = retryInterrupted([&] { return write(STDOUT_FILENO, piece.data(), piece.size()); });
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EPIPE) {
      dropBrokenPipeSignal();
      return true;
    } else if (errno != EAGAIN) {
      return true;
    }
  }
  return true;
}

}  // namespace

void writeFromHandler(std::string_view text) {
  if (!isReporter()) {
    static_cast<void>(writeAll(text));
  } else if (const long self = currentThread(); stuckReporter != self) {
    stuckReporter = self;
    stuckReporter = writeAll(text) ? 0 : self;
  }
}

}  // namespace vexora
