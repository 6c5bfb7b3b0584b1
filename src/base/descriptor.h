// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <utility>

namespace vexora {

/// Owns an open descriptor; -1 means none. After a failed open it is empty and errno has the cause.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(Descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;
  Descriptor &operator=(Descriptor &&) = delete;
  ~Descriptor() {
    if (fd_ >= 0) {
      static_cast<void>(close(fd_));
    }
  }

  explicit operator bool() const { return fd_ >= 0; }
  [[nodiscard]] int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace vexora
