// SPDX-License-Identifier: Apache-2.0
//
// What the fuzz targets share.
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

// What the library prints, thousands of lines a second, goes nowhere.
inline void throwOutputAway() {
  static const bool kThrown = std::freopen("/dev/null", "w", stdout) != nullptr;
  require(kThrown, "the library's lines can be thrown away");
}
