// SPDX-License-Identifier: Apache-2.0
//
// The interposed calls. Code built with 64-bit offsets calls fopen64 for fopen, fortified code calls __read_chk for
// read, and other code calls the plain names. Each variant is defined here under its own name, so this file alone is
// compiled without both.
#undef _FILE_OFFSET_BITS
#undef _FORTIFY_SOURCE

#include "support/test.h"

#include <dirent.h>

#include <cstddef>

extern "C" ssize_t __read_chk(int fd, void *data, std::size_t size, std::size_t room);
extern "C" std::size_t __fread_chk(void *data, std::size_t room, std::size_t size, std::size_t count, std::FILE *file);

namespace vexora::test {
namespace {

// In the executable's own storage, so that reading it never allocates.
thread_local FailCall *armed = nullptr;

bool mustFail(std::string_view call, std::string_view group = kAnyFileCall) {
  return armed != nullptr && !InHarness::active() && armed->strikes(call, group);
}

[[maybe_unused]] void *counted(void *block) {
  HeapWatch::count(block != nullptr ? 1 : 0);
  return block;
}

// The stream's error flag in glibc's layout: a real failure would have set it.
constexpr int kStreamError = 0x20;

void markFailed(std::FILE *file) { file->_flags |= kStreamError; }

}  // namespace

bool entriesWithoutType = false;

FailCall::FailCall(std::string_view call, unsigned nth, int error, Strike strike)
    : call_(call), nth_(nth), error_(error), strike_(strike) {
  armed = this;
}

FailCall::~FailCall() { armed = nullptr; }

bool FailCall::strikes(std::string_view call, std::string_view group) {
  if ((call_ != call && call_ != group) || ++seen_ < nth_ || (seen_ > nth_ && strike_ != Strike::kFromThen)) {
    return false;
  }
  if (strike_ == Strike::kKill) {
    kill(getpid(), SIGKILL);
  }
  errno = error_;
  return strike_ != Strike::kSay;
}

// Defines one interposed call. The failure value comes last.
#define INTERPOSE(result, symbol, name, parameters, arguments, qualifier, failure) \
  result symbol parameters qualifier {                                             \
    static auto *const real = original(&::symbol, #symbol);                        \
    return mustFail(name) ? (failure) : real arguments;                            \
  }

// The same for calls whose mode is present only with some flags.
#define INTERPOSE_OPEN(symbol)                                                             \
  int symbol(const char *path, int flags, ...) {                                           \
    std::va_list more;                                                                     \
    va_start(more, flags);                                                                 \
    const mode_t mode = (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0; \
    va_end(more);                                                                          \
    return mustFail("open") ? -1 : original(&::symbol, #symbol)(path, flags, mode);        \
  }

extern "C" {

INTERPOSE_OPEN(open)
INTERPOSE_OPEN(open64)

INTERPOSE(std::FILE *, fopen, "fopen", (const char *path, const char *mode), (path, mode), , nullptr)
INTERPOSE(std::FILE *, fopen64, "fopen", (const char *path, const char *mode), (path, mode), , nullptr)
INTERPOSE(DIR *, opendir, "opendir", (const char *path), (path), , nullptr)
#define INTERPOSE_READDIR(entry, symbol)                                                         \
  entry *symbol(DIR *directory) {                                                                \
    entry *const next = mustFail("readdir") ? nullptr : original(&::symbol, #symbol)(directory); \
    if (next != nullptr && entriesWithoutType && !InHarness::active()) {                         \
      next->d_type = DT_UNKNOWN;                                                                 \
    }                                                                                            \
    return next;                                                                                 \
  }
INTERPOSE_READDIR(dirent, readdir)
INTERPOSE_READDIR(dirent64, readdir64)

INTERPOSE(std::size_t, fread, "fread", (void *data, std::size_t size, std::size_t count, std::FILE *file),
          (data, size, count, file), , (markFailed(file), 0))
INTERPOSE(std::size_t, __fread_chk, "fread",
          (void *data, std::size_t room, std::size_t size, std::size_t count, std::FILE *file),
          (data, room, size, count, file), , (markFailed(file), 0))
INTERPOSE(std::size_t, fwrite, "fwrite", (const void *data, std::size_t size, std::size_t count, std::FILE *file),
          (data, size, count, file), , (markFailed(file), 0))
INTERPOSE(int, fflush, "fflush", (std::FILE * file), (file), , (file != nullptr ? markFailed(file) : void(), EOF))
// A close that fails has closed the descriptor all the same.
INTERPOSE(int, fclose, "fclose", (std::FILE * file), (file), , (real(file), EOF))
INTERPOSE(int, close, "close", (int fd), (fd), , (real(fd), -1))

INTERPOSE(ssize_t, read, "read", (int fd, void *data, std::size_t size), (fd, data, size), , -1)
INTERPOSE(ssize_t, __read_chk, "read", (int fd, void *data, std::size_t size, std::size_t room), (fd, data, size, room),
          , -1)
INTERPOSE(ssize_t, write, "write", (int fd, const void *data, std::size_t size), (fd, data, size), , -1)

INTERPOSE(int, fsync, "fsync", (int fd), (fd), , -1)
INTERPOSE(int, rename, "rename", (const char *from, const char *to), (from, to), noexcept, -1)
INTERPOSE(int, remove, "remove", (const char *path), (path), noexcept, -1)
INTERPOSE(int, access, "access", (const char *path, int mode), (path, mode), noexcept, -1)
INTERPOSE(int, stat64, "stat", (const char *path, struct stat64 *out), (path, out), noexcept, -1)
INTERPOSE(int, statx, "statx", (int fd, const char *path, int flags, unsigned mask, struct statx *out),
          (fd, path, flags, mask, out), noexcept, -1)

int pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attributes) noexcept {
  static auto *const real = original(&pthread_mutex_init, "pthread_mutex_init");
  return mustFail("pthread_mutex_init", {}) ? errno : real(mutex, attributes);
}

#ifndef VEXORA_SANITIZED

void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
void __libc_free(void *block);

void *malloc(std::size_t size) noexcept {
  return mustFail("malloc", kAnyAllocation) ? nullptr : counted(__libc_malloc(size));
}

void *calloc(std::size_t count, std::size_t size) noexcept {
  return mustFail("calloc", kAnyAllocation) ? nullptr : counted(__libc_calloc(count, size));
}

void *realloc(void *old, std::size_t size) noexcept {
  if (mustFail("realloc", kAnyAllocation)) {
    return nullptr;
  }
  void *const block = __libc_realloc(old, size);
  HeapWatch::count((old == nullptr && block != nullptr ? 1 : 0) - (old != nullptr && size == 0 ? 1 : 0));
  return block;
}

void free(void *block) noexcept {
  HeapWatch::count(block != nullptr ? -1 : 0);
  __libc_free(block);
}

#endif
}
}  // namespace vexora::test
