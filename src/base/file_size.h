// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdint>
#include <optional>

namespace vexora {

/// The size in bytes of the open file `fd`, or of the file that `path` leads to from there; nothing, with errno set,
/// when it is not available. Asks for the size alone: with 32-bit times stat() refuses a file dated past 2038, even
/// when its times are not wanted.
inline std::optional<std::uint64_t> fileSize(int fd, const char *path = "") {
  struct statx status {};
  if (statx(fd, path, AT_EMPTY_PATH, STATX_SIZE, &status) != 0) {
    return {};
  }
  return status.stx_size;
}

inline std::optional<std::uint64_t> fileSize(const char *path) { return fileSize(AT_FDCWD, path); }

}  // namespace vexora
