// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdint>
#include <optional>

namespace vexora {

/// The size in bytes of the open file `fd`, or of the file that `path` leads to from there; nothing, with errno set,
/// when it can't be had. Asks for the size alone: where the C library's times have 32 bits, stat() refuses a file dated
/// past 2038 whoever wants its times.
inline std::optional<std::uint64_t> fileSize(int fd, const char *path = "") {
  struct statx status {};
  if (statx(fd, path, AT_EMPTY_PATH, STATX_SIZE, &status) != 0) {
    return {};
  }
  return status.stx_size;
}

inline std::optional<std::uint64_t> fileSize(const char *path) { return fileSize(AT_FDCWD, path); }

}  // namespace vexora
