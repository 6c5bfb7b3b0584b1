// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>

#include "core/progress.h"
#include "core/tool.h"

namespace vexora::tool {

Progress::Progress(std::string what) : what_(std::move(what)) {
  if (isatty(STDERR_FILENO) == 1) {
    // Of its own: captured() leads standard error elsewhere meanwhile.
    terminal_ = dup(STDERR_FILENO);
    thread_ = std::jthread([this](const std::stop_token &stop) { show(stop); });
  }
}

Progress::~Progress() {
  if (thread_.joinable()) {
    thread_.request_stop();
    thread_.join();
    close(terminal_);
  }
}

void Progress::at(std::uint64_t done, std::uint64_t of) {
  percent_ = of == 0 ? 100 : static_cast<int>(static_cast<double>(done) * 100.0 / static_cast<double>(of));
}

void Progress::show(const std::stop_token &stop) {
  std::mutex mutex;
  std::condition_variable_any stopped;
  std::unique_lock lock(mutex);
  bool shown = false;
  for (int seconds = 1;; ++seconds) {
    if (stopped.wait_for(lock, stop, std::chrono::seconds(1), [&] { return stop.stop_requested(); })) {
      break;
    }
    const int percent = percent_;
    const std::string state = percent < 0 ? std::to_string(seconds) + " s" : std::to_string(percent) + " %";
    dprintf(terminal_, "\r\033[K%s ... %s", printable(what_).c_str(), state.c_str());
    shown = true;
  }
  if (shown) {
    dprintf(terminal_, "\r\033[K");
  }
}

}  // namespace vexora::tool
