// SPDX-License-Identifier: Apache-2.0
//
// Directories and log files.

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "base/owners.h"
#include "base/report.h"
#include "firmware/unix.h"
#include "storage/paths.h"
#include "vexora/storage.h"

namespace {

constexpr mode_t kDirectoryMode = 0755;
constexpr std::size_t kRotatedNameSize = 256;

bool makeDirectory(const char *path) { return mkdir(path, kDirectoryMode) == 0; }

/// Returns whether the path exists, by the process's effective rights. Requests no times: stat() with 32-bit times
/// fails on a file dated past 2038.
bool isThere(const char *path) {
  struct statx status;
  return statx(AT_FDCWD, path, 0, 0, &status) == 0;
}

/// EEXIST: another daemon has created the directory meanwhile.
bool makeMissingDirectory(const char *path) {
  return isThere(path) || makeDirectory(path) || (errno == EEXIST && isThere(path));
}

bool isAbsolute(const char *path) { return path != nullptr && *path == '/'; }

bool recreateDirectory(const char *path) {
  if (isThere(path)) {
    static_cast<void>(RmDir(path));
  }
  return makeDirectory(path);
}

bool copyDirectory(const char *path, const char *destination, int flag) {
  return isAbsolute(destination) && makeMissingDirectory(destination) && copyDir(path, destination, flag) == 0;
}

}  // namespace

int createIfNotExists(const char *path) {
  if (path == nullptr) {
    return -1;
  }
  if (makeMissingDirectory(path)) {
    return 0;
  }
  REPORT_WARNING(vexora::kBaseFunction, "Creation dir: %s Failed", path);
  return -1;
}

int vexora_delete_logfile(const char *path) {
  if (path == nullptr) {
    return -1;
  }
  if (isThere(path) && !vexora::Stream(std::fopen(path, "w+e"))) {
    REPORT_FAILURE(vexora::kFileOperator, "Error in open %s, errno=%d\n", path, errno);
  }
  char rotated[kRotatedNameSize];
  static_cast<void>(std::snprintf(rotated, sizeof rotated, "%s.1", path));
  if (isThere(rotated)) {
    static_cast<void>(std::remove(rotated));
  }
  return 0;
}

int vexora_folder_operation(unsigned op, const char *path, ...) {
  if (!isAbsolute(path)) {
    return -1;
  }
  bool done = false;
  switch (op) {
    case VEXORA_FOLDER_EXISTS:
      done = vexora::storage::exists(path);
      break;
    case VEXORA_FOLDER_CREATE:
      done = makeMissingDirectory(path);
      break;
    case VEXORA_FOLDER_RECREATE:
      done = recreateDirectory(path);
      break;
    case VEXORA_FOLDER_COPY_REPLACING:
    case VEXORA_FOLDER_COPY_KEEPING: {
      std::va_list more;
      va_start(more, path);
      done = copyDirectory(path, va_arg(more, const char *), op == VEXORA_FOLDER_COPY_REPLACING ? 1 : 0);
      va_end(more);
      break;
    }
    default:
      break;
  }
  return done ? 0 : -1;
}
