// SPDX-License-Identifier: Apache-2.0
//
// Helpers of all fuzz targets.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

inline void require(bool holds, const char *what) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
  }
}

inline void putFile(const char *path, const void *data, std::size_t size) {
  const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
  require(write(fd, data, size) == static_cast<ssize_t>(size), "the file can be made");
  close(fd);
}

// Discards the library's output, which is thousands of lines a second.
inline void throwOutputAway() {
  static const bool kThrown = std::freopen("/dev/null", "w", stdout) != nullptr;
  require(kThrown, "the library's lines can be thrown away");
}
