// SPDX-License-Identifier: Apache-2.0
//
// Keeping files whole through a power cut.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "base/descriptor.h"
#include "base/retry.h"

namespace vexora {

/// Waits until a file or directory is on the medium. A file system that can't sync is no failure.
inline bool reachesMedium(int fd) {
  return retryInterrupted([fd] { return fsync(fd); }) == 0 || errno == EINVAL || errno == ENOSYS;
}

/// The same by path. A path that can't be opened is no failure either.
inline bool reachesMedium(const char *path) {
  const Descriptor file(retryInterrupted([path] { return open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC); }));
  return !file || reachesMedium(file.get());
}

/// Removes the name `temporary` if it is a second name of the file `inPlace`: JFFS2 leaves both names after a power cut
/// inside a rename. Writing to the temporary name would then empty the live file, and rename() would do nothing.
/// Symbolic links are not followed.
inline void separate(const char *temporary, const char *inPlace) {
  // Requests no times: stat() with 32-bit times fails on a file dated past 2038.
  const auto look = [](const char *path, struct statx &status) {
    return statx(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW, STATX_INO, &status) == 0;
  };
  struct statx one {};
  struct statx other {};
  if (look(temporary, one) && look(inPlace, other) && one.stx_ino == other.stx_ino &&
      one.stx_dev_major == other.stx_dev_major && one.stx_dev_minor == other.stx_dev_minor) {
    static_cast<void>(std::remove(temporary));
  }
}

}  // namespace vexora
