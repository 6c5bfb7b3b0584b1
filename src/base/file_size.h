// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdint>
#include <optional>

namespace vexora {

/// Returns the size in bytes of the open file `fd`, or of `path` relative to it; nothing, with errno set, on failure.
/// Requests only the size: stat() with 32-bit times fails on a file dated past 2038.
inline std::optional<std::uint64_t> fileSize(int fd, const char *path = "") {
  struct statx status {};
  if (statx(fd, path, AT_EMPTY_PATH, STATX_SIZE, &status) != 0) {
    return {};
  }
  return status.stx_size;
}

inline std::optional<std::uint64_t> fileSize(const char *path) { return fileSize(AT_FDCWD, path); }

}  // namespace vexora
