// SPDX-License-Identifier: Apache-2.0
//
// Descriptor calls that never fail with EINTR, and transfers of whole buffers. Other results and errno values are the
// system call's.

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>

#include "base/retry.h"
#include "vexora/diag.h"

namespace {

using vexora::retryInterrupted;

/// Transfers `length` bytes by `transfer(offset, remaining)`. A result of 0 ends the loop with 0 if `zeroEnds` (a read
/// at the end of the file); a write that wrote nothing is repeated.
template <typename Transfer>
int transferAll(unsigned length, bool zeroEnds, Transfer transfer) {
  std::size_t done = 0;
  for (;;) {
    const std::size_t remaining = length - done;
    const ssize_t moved = retryInterrupted([&] { return transfer(done, remaining); });
    if (moved < 0) {
      return -1;
    }
    if (static_cast<std::size_t>(moved) == remaining) {
      return static_cast<int>(length);
    }
    if (moved == 0 && zeroEnds) {
      return 0;
    }
    done += static_cast<std::size_t>(moved);
  }
}

}  // namespace

int vexora_open(const char *path, int flags) {
  // Without a mode argument, O_CREAT would take arbitrary stack content as the mode.
  return retryInterrupted([&] { return open(path, flags, 0); });
}

int vexora_open_mode(const char *path, int flags, int mode) {
  return retryInterrupted([&] { return open(path, flags, static_cast<mode_t>(mode)); });
}

int vexora_close(int fd) {
  return retryInterrupted([&] { return close(fd); });
}

int vexora_select(int nfds, fd_set *read, fd_set *write, fd_set *except, struct timeval *timeout) {
  return retryInterrupted([&] { return select(nfds, read, write, except, timeout); });
}

int vexora_read(int fd, void *buffer, unsigned length) {
  return static_cast<int>(retryInterrupted([&] { return read(fd, buffer, length); }));
}

int vexora_write(int fd, const void *buffer, unsigned length) {
  return static_cast<int>(retryInterrupted([&] { return write(fd, buffer, length); }));
}

int vexora_blocking_read(int fd, void *buffer, unsigned length) {
  auto *const bytes = static_cast<std::byte *>(buffer);
  return transferAll(length, true,
                     [&](std::size_t done, std::size_t remaining) { return read(fd, bytes + done, remaining); });
}

int vexora_blocking_write(int fd, const void *buffer, unsigned length) {
  const auto *const bytes = static_cast<const std::byte *>(buffer);
  return transferAll(length, false,
                     [&](std::size_t done, std::size_t remaining) { return write(fd, bytes + done, remaining); });
}
