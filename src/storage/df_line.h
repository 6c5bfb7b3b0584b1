// SPDX-License-Identifier: Apache-2.0
//
// A line that `df -k` prints: file system, size, used, available, percentage and mount point, parted by blanks. The
// mount point is the line's rest, blanks included. Lines are foreign text: anybody who mounts something, a network
// share for instance, has a say in them.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vexora::storage {

inline constexpr std::size_t kDfLineSize = 256;
inline constexpr std::size_t kDfFieldSize = 32;

struct DfLine {
  // As long as a line, so that no field runs on into the next; the last two are cut to kDfFieldSize when parsed. A file
  // system's name of that length is no card's, cut or not.
  char fileSystem[kDfLineSize];
  char available[kDfLineSize];
  char mountPoint[kDfLineSize];

  /// False for lines without one of the three fields, such as those that begin with a blank.
  bool parse(const char *line) {
    if (std::sscanf(line, "%255[^ ] %*[^ ] %*[^ ] %255[^ ] %*[^ ] %255[^\n]", fileSystem, available, mountPoint) != 3) {
      return false;
    }
    available[kDfFieldSize - 1] = mountPoint[kDfFieldSize - 1] = '\0';
    return true;
  }

  /// Whether the line is about a device or, since a card without partitions goes by a shorter name, about what its
  /// name begins with.
  [[nodiscard]] bool isAbout(const char *device) const {
    return std::strncmp(device, fileSystem, std::strlen(fileSystem)) == 0;
  }

  [[nodiscard]] long availableKib() const { return std::strtol(available, nullptr, 10); }
};

}  // namespace vexora::storage
