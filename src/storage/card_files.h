// SPDX-License-Identifier: Apache-2.0
//
// Paths on the TF card, and the files of its directories. Names on the card are hostile: links among them are left out,
// and none is executed or used as a format.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>

#include "storage/card_layout.h"

namespace vexora::storage {

/// The path of a directory on the card, cut to its capacity.
class CardDirectory {
 public:
  explicit CardDirectory(const char *name) {
    static_cast<void>(std::snprintf(path_, sizeof path_, "%s/%s", kCardMountPoint, name));
  }
  [[nodiscard]] const char *path() const { return path_; }

 private:
  char path_[128];
};

/// The names of a directory's regular files, in the order of the directory. Symbolic links are left out.
class RegularFiles {
 public:
  explicit RegularFiles(const char *directory) : directory_(opendir(directory)) {}

  /// Returns whether the directory could be opened.
  explicit operator bool() const { return directory_ != nullptr; }

  /// Returns the next name, valid until the next call; null after the last one (errno is 0) and after a read failure
  /// (errno is not 0).
  const char *next() {
    while (const dirent *const entry = nextEntry()) {
      if (isRegular(*entry)) {
        return entry->d_name;
      }
    }
    return nullptr;
  }

 private:
  struct CloseDirectory {
    void operator()(DIR *directory) const { static_cast<void>(closedir(directory)); }
  };

  const dirent *nextEntry() {
    errno = 0;
    return readdir(directory_.get());  // NOLINT(concurrency-mt-unsafe): no other thread has the stream
  }

  /// Some file systems don't return the type with the name.
  [[nodiscard]] bool isRegular(const dirent &entry) const {
    if (entry.d_type != DT_UNKNOWN) {
      return entry.d_type == DT_REG;
    }
    // Requests only the type: fstatat() with 32-bit times fails on a file dated past 2038.
    struct statx status;
    return statx(dirfd(directory_.get()), entry.d_name, AT_SYMLINK_NOFOLLOW, STATX_TYPE, &status) == 0 &&
           S_ISREG(status.stx_mode);
  }

  std::unique_ptr<DIR, CloseDirectory> directory_;
};

}  // namespace vexora::storage
