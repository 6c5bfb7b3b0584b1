// SPDX-License-Identifier: Apache-2.0
//
// A line of `df -k`: file system, size, used, available, percentage and mount point, separated by blanks. The mount
// point is the rest of the line, blanks included. Lines are hostile: anybody who mounts something, such as a network
// share, chooses a part of them.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vexora::storage {

inline constexpr std::size_t kDfLineSize = 256;
inline constexpr std::size_t kDfFieldSize = 32;

struct DfLine {
  // As long as a line, so that no field overflows into the next; the last two are cut to kDfFieldSize when parsed. A
  // file system name of that length is no card, cut or not.
  char fileSystem[kDfLineSize];
  char available[kDfLineSize];
  char mountPoint[kDfLineSize];

  /// Returns false for a line without one of the three fields, such as a line that begins with a blank.
  bool parse(const char *line) {
    if (std::sscanf(line, "%255[^ ] %*[^ ] %*[^ ] %255[^ ] %*[^ ] %255[^\n]", fileSystem, available, mountPoint) != 3) {
      return false;
    }
    available[kDfFieldSize - 1] = mountPoint[kDfFieldSize - 1] = '\0';
    return true;
  }

  /// Returns whether the line's file system is a prefix of the device's name: a card without partitions has a shorter
  /// name.
  [[nodiscard]] bool isAbout(const char *device) const {
    return std::strncmp(device, fileSystem, std::strlen(fileSystem)) == 0;
  }

  [[nodiscard]] long availableKib() const { return std::strtol(available, nullptr, 10); }
};

}  // namespace vexora::storage
