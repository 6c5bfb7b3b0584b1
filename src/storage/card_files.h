// SPDX-License-Identifier: Apache-2.0
//
// The TF card's places, and what a folder on it holds. Whoever filled the card chose the names on it: they may be
// anything that a file system takes, and are never followed, run or used as a format.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>

namespace vexora::storage {

inline constexpr const char *kCard = "/dev/mmcblk0";
inline constexpr const char *kCardPartition = "/dev/mmcblk0p1";
inline constexpr const char *kCardMountPoint = "/mnt/sdmmc0p2";

/// The path of a folder on the card, cut to its capacity.
class CardFolder {
 public:
  explicit CardFolder(const char *name) {
    static_cast<void>(std::snprintf(path_, sizeof path_, "%s/%s", kCardMountPoint, name));
  }
  [[nodiscard]] const char *path() const { return path_; }

 private:
  char path_[128];
};

/// The names of a folder's regular files, in the folder's order. Links are none, wherever they lead.
class RegularFiles {
 public:
  explicit RegularFiles(const char *folder) : folder_(opendir(folder)) {}

  /// Whether the folder could be opened.
  explicit operator bool() const { return folder_ != nullptr; }

  /// The next name, good until the next call; null after the last one, and when the medium gives no more: errno is
  /// then not 0.
  const char *next() {
    while (const dirent *const entry = nextEntry()) {
      if (isRegular(*entry)) {
        return entry->d_name;
      }
    }
    return nullptr;
  }

 private:
  struct CloseFolder {
    void operator()(DIR *folder) const { static_cast<void>(closedir(folder)); }
  };

  const dirent *nextEntry() {
    errno = 0;
    return readdir(folder_.get());  // NOLINT(concurrency-mt-unsafe): no other thread has the stream
  }

  /// Not every file system gives the type with the name.
  [[nodiscard]] bool isRegular(const dirent &entry) const {
    if (entry.d_type != DT_UNKNOWN) {
      return entry.d_type == DT_REG;
    }
    // Asks for the type alone: fstatat() refuses what is dated past 2038 where the C library's times have 32 bits.
    struct statx status;
    return statx(dirfd(folder_.get()), entry.d_name, AT_SYMLINK_NOFOLLOW, STATX_TYPE, &status) == 0 &&
           S_ISREG(status.stx_mode);
  }

  std::unique_ptr<DIR, CloseFolder> folder_;
};

}  // namespace vexora::storage
