// SPDX-License-Identifier: Apache-2.0
//
// What keeps a file whole through a power cut.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "base/descriptor.h"
#include "base/retry.h"

namespace vexora {

/// Waits until the medium has what was written to a file or folder. Some file systems can't sync: that is no failure.
inline bool reachesMedium(int fd) {
  return retryInterrupted([fd] { return fsync(fd); }) == 0 || errno == EINVAL || errno == ENOSYS;
}

/// The same by its path. What can't be opened can't be synced: no failure either.
inline bool reachesMedium(const char *path) {
  const Descriptor file(retryInterrupted([path] { return open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC); }));
  return !file || reachesMedium(file.get());
}

/// Removes the temporary name of a file that is about to be written under it, when the file in place has that name too:
/// writing would empty it, and the rename after it would do nothing. A flash file system leaves both names after a
/// power cut inside a rename. Links count as themselves.
inline void separate(const char *temporary, const char *inPlace) {
  // Asks for no times, which stat() can't give past 2038 where the C library's have 32 bits.
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
