// SPDX-License-Identifier: Apache-2.0
//
// The calls that redirect the board's directories into the root. The name that a source's open() or stat() calls
// depends on its build: open64 with 64-bit offsets, __open64_2 with fortification, __stat64_time64 with 64-bit times on
// 32-bit processors, __xstat in old libraries. Each is defined here under its own name, so this file alone is compiled
// without these settings.
#undef _FILE_OFFSET_BITS
#undef _FORTIFY_SOURCE
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "core/root.h"

namespace {

using vexora::tool::insideRoot;
using vexora::tool::Last;
using vexora::tool::Led;

/// Returns the function that this file's function of the same name hides.
template <typename Function>
Function *next(Function * /*ours*/, const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

/// open() follows no link when it must create the file or when the flags forbid it.
Last lastOf(int flags) {
  const bool itself = (flags & O_NOFOLLOW) != 0 || (flags & (O_CREAT | O_EXCL)) == (O_CREAT | O_EXCL);
  return itself ? Last::kItself : Last::kFollowed;
}

Last lastAt(int flags) { return (flags & AT_SYMLINK_NOFOLLOW) != 0 ? Last::kItself : Last::kFollowed; }

/// Refuses shell commands inside a root: they would use this machine's directories.
bool refusesCommand() {
  if (insideRoot()) {
    errno = EPERM;
    return true;
  }
  return false;
}

}  // namespace

#define LEAD(result, symbol, parameters, arguments, qualifier) \
  result symbol parameters qualifier {                         \
    static auto *const real = next(&symbol, #symbol);          \
    return real arguments;                                     \
  }

// The caller passes a mode only with these flags.
#define LEAD_OPEN(symbol, parameters, arguments)                                           \
  int symbol parameters {                                                                  \
    static auto *const real = next(&symbol, #symbol);                                      \
    std::va_list more;                                                                     \
    va_start(more, flags);                                                                 \
    const mode_t mode = (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0; \
    va_end(more);                                                                          \
    return real arguments;                                                                 \
  }

#define ITSELF(path) Led(path, Last::kItself).get()

extern "C" {

int __open_2(const char *path, int flags);
int __open64_2(const char *path, int flags);
int __openat_2(int directory, const char *path, int flags);
int __openat64_2(int directory, const char *path, int flags);
int __xstat(int version, const char *path, struct stat *out) noexcept;
int __xstat64(int version, const char *path, struct stat64 *out) noexcept;
int __lxstat(int version, const char *path, struct stat *out) noexcept;
int __lxstat64(int version, const char *path, struct stat64 *out) noexcept;
int __fxstatat(int version, int directory, const char *path, struct stat *out, int flags) noexcept;
int __fxstatat64(int version, int directory, const char *path, struct stat64 *out, int flags) noexcept;
int __stat64_time64(const char *path, void *out) noexcept;
int __lstat64_time64(const char *path, void *out) noexcept;
int __fstatat64_time64(int directory, const char *path, void *out, int flags) noexcept;
char *__realpath_chk(const char *path, char *out, std::size_t room) noexcept;
ssize_t __readlink_chk(const char *path, char *out, std::size_t size, std::size_t room) noexcept;
int safe_system(const char *command);

LEAD_OPEN(open, (const char *path, int flags, ...), (Led(path, lastOf(flags)).get(), flags, mode))
LEAD_OPEN(open64, (const char *path, int flags, ...), (Led(path, lastOf(flags)).get(), flags, mode))
LEAD_OPEN(openat, (int directory, const char *path, int flags, ...),
          (directory, Led(path, lastOf(flags)).get(), flags, mode))
LEAD_OPEN(openat64, (int directory, const char *path, int flags, ...),
          (directory, Led(path, lastOf(flags)).get(), flags, mode))
LEAD(int, __open_2, (const char *path, int flags), (Led(path, lastOf(flags)).get(), flags), )
LEAD(int, __open64_2, (const char *path, int flags), (Led(path, lastOf(flags)).get(), flags), )
LEAD(int, __openat_2, (int directory, const char *path, int flags),
     (directory, Led(path, lastOf(flags)).get(), flags), )
LEAD(int, __openat64_2, (int directory, const char *path, int flags),
     (directory, Led(path, lastOf(flags)).get(), flags), )

LEAD(std::FILE *, fopen, (const char *path, const char *mode), (Led(path).get(), mode), )
LEAD(std::FILE *, fopen64, (const char *path, const char *mode), (Led(path).get(), mode), )
LEAD(DIR *, opendir, (const char *path), (Led(path).get()), )

LEAD(int, access, (const char *path, int mode), (Led(path).get(), mode), noexcept)
LEAD(int, stat, (const char *path, struct stat *out), (Led(path).get(), out), noexcept)
LEAD(int, stat64, (const char *path, struct stat64 *out), (Led(path).get(), out), noexcept)
LEAD(int, __stat64_time64, (const char *path, void *out), (Led(path).get(), out), noexcept)
LEAD(int, lstat, (const char *path, struct stat *out), (ITSELF(path), out), noexcept)
LEAD(int, lstat64, (const char *path, struct stat64 *out), (ITSELF(path), out), noexcept)
LEAD(int, __lstat64_time64, (const char *path, void *out), (ITSELF(path), out), noexcept)
LEAD(int, fstatat, (int directory, const char *path, struct stat *out, int flags),
     (directory, Led(path, lastAt(flags)).get(), out, flags), noexcept)
LEAD(int, fstatat64, (int directory, const char *path, struct stat64 *out, int flags),
     (directory, Led(path, lastAt(flags)).get(), out, flags), noexcept)
LEAD(int, __fstatat64_time64, (int directory, const char *path, void *out, int flags),
     (directory, Led(path, lastAt(flags)).get(), out, flags), noexcept)
LEAD(int, statx, (int directory, const char *path, int flags, unsigned mask, struct statx *out),
     (directory, Led(path, lastAt(flags)).get(), flags, mask, out), noexcept)
LEAD(int, __xstat, (int version, const char *path, struct stat *out), (version, Led(path).get(), out), noexcept)
LEAD(int, __xstat64, (int version, const char *path, struct stat64 *out), (version, Led(path).get(), out), noexcept)
LEAD(int, __lxstat, (int version, const char *path, struct stat *out), (version, ITSELF(path), out), noexcept)
LEAD(int, __lxstat64, (int version, const char *path, struct stat64 *out), (version, ITSELF(path), out), noexcept)
LEAD(int, __fxstatat, (int version, int directory, const char *path, struct stat *out, int flags),
     (version, directory, Led(path, lastAt(flags)).get(), out, flags), noexcept)
LEAD(int, __fxstatat64, (int version, int directory, const char *path, struct stat64 *out, int flags),
     (version, directory, Led(path, lastAt(flags)).get(), out, flags), noexcept)
LEAD(int, statvfs, (const char *path, struct statvfs *out), (Led(path).get(), out), noexcept)
LEAD(int, statvfs64, (const char *path, struct statvfs64 *out), (Led(path).get(), out), noexcept)

LEAD(int, mkdir, (const char *path, mode_t mode), (ITSELF(path), mode), noexcept)
LEAD(int, mkfifo, (const char *path, mode_t mode), (ITSELF(path), mode), noexcept)
LEAD(int, rename, (const char *from, const char *to), (ITSELF(from), ITSELF(to)), noexcept)
LEAD(int, unlink, (const char *path), (ITSELF(path)), noexcept)
LEAD(int, unlinkat, (int directory, const char *path, int flags), (directory, ITSELF(path), flags), noexcept)
LEAD(int, remove, (const char *path), (ITSELF(path)), noexcept)
LEAD(int, chmod, (const char *path, mode_t mode), (Led(path).get(), mode), noexcept)
LEAD(int, truncate, (const char *path, off_t size), (Led(path).get(), size), noexcept)
LEAD(int, truncate64, (const char *path, off64_t size), (Led(path).get(), size), noexcept)
LEAD(ssize_t, readlink, (const char *path, char *out, std::size_t size), (ITSELF(path), out, size), noexcept)
LEAD(ssize_t, __readlink_chk, (const char *path, char *out, std::size_t size, std::size_t room),
     (ITSELF(path), out, size, room), noexcept)
LEAD(char *, realpath, (const char *path, char *out), (Led(path).get(), out), noexcept)
LEAD(char *, __realpath_chk, (const char *path, char *out, std::size_t room), (Led(path).get(), out, room), noexcept)

int system(const char *command) {
  static auto *const real = next(&system, "system");
  return refusesCommand() ? -1 : real(command);
}

std::FILE *popen(const char *command, const char *mode) {
  static auto *const real = next(&popen, "popen");
  return refusesCommand() ? nullptr : real(command, mode);
}

int safe_system(const char *command) {
  static auto *const real = next(&safe_system, "safe_system");
  return refusesCommand() ? -1 : real(command);
}
}
