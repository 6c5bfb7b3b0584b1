// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

namespace vexora::tool {

/// Tells on standard error, when that is a terminal, what takes more than a second, until it goes.
class Progress {
 public:
  explicit Progress(std::string what);
  ~Progress();
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;
  void at(std::uint64_t done, std::uint64_t of);  // shown as a percentage

 private:
  void show(const std::stop_token &stop);

  std::string what_;
  int terminal_ = -1;
  std::atomic<int> percent_ = -1;
  std::jthread thread_;
};

}  // namespace vexora::tool
