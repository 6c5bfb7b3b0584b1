// SPDX-License-Identifier: Apache-2.0
#ifndef FIRMWARE_STANDINS_KEY_FILE_H
#define FIRMWARE_STANDINS_KEY_FILE_H

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <span>
#include <string_view>

namespace vexora::firmware {

/// Reads to the end of the file or of `key`, and retries after EINTR. Returns the bytes read, or -1.
inline ssize_t readFully(int descriptor, std::span<uint8_t> key) {
  size_t filled = 0;
  while (filled < key.size()) {
    const ssize_t got = read(descriptor, &key[filled], key.size() - filled);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      return -1;
    }
    if (got == 0) {
      break;
    }
    filled += static_cast<size_t>(got);
  }
  return static_cast<ssize_t>(filled);
}

/// Fills `key` from the file at `path`, or from `developmentKey` when there is no such file, and zeros the rest.
/// Returns the key's length, or -1 with `key` wiped when the file cannot be read or exceeds `key`.
inline ssize_t loadKey(const char *path, std::string_view developmentKey, std::span<uint8_t> key) {
  explicit_bzero(key.data(), key.size());
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
  if (descriptor < 0 && errno == ENOENT) {
    std::copy(developmentKey.begin(), developmentKey.end(), key.begin());
    return static_cast<ssize_t>(developmentKey.size());
  }
  if (descriptor < 0) {
    return -1;
  }
  ssize_t length = readFully(descriptor, key);
  uint8_t excess = 0;
  if (length >= 0 && readFully(descriptor, {&excess, 1}) != 0) {
    length = -1;
  }
  close(descriptor);
  if (length < 0) {
    explicit_bzero(key.data(), key.size());
  }
  return length;
}

}  // namespace vexora::firmware

#endif
