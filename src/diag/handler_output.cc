// SPDX-License-Identifier: Apache-2.0

#include "diag/handler_output.h"

#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "base/retry.h"
#include "diag/crash_steps.h"

namespace vexora {

namespace {

constexpr int kMaxWaitMs = 1000;

// The reporter whose write timed out or was cut short. A forked process has another reporter, and so starts afresh.
constinit volatile long stuckReporter = 0;

/// Discards the pending SIGPIPE of a write without reader: its handler would write, and so raise it again, forever.
void dropBrokenPipeSignal() {
  sigset_t brokenPipe;
  static_cast<void>(sigemptyset(&brokenPipe));
  static_cast<void>(sigaddset(&brokenPipe, SIGPIPE));
  const timespec noWait{};
  static_cast<void>(sigtimedwait(&brokenPipe, nullptr, &noWait));
}

/// Returns false when the output accepted nothing for too long.
bool writeAll(std::string_view text) {
  while (!text.empty()) {
    pollfd output{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
    if (retryInterrupted([&] { return poll(&output, 1, kMaxWaitMs); }) == 0) {
      return false;
    }
    // A ready pipe accepts this many bytes without blocking, unless another thread fills it first.
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
