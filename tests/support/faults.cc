// SPDX-License-Identifier: Apache-2.0
//
// The interposed calls. Code built with 64-bit offsets calls fopen64 where its source says fopen, fortified code calls
// __read_chk where it says read, and libraries built otherwise call the plain names: each variant is defined here under
// its own name, so this file alone is compiled without either.
#undef _FILE_OFFSET_BITS
#undef _FORTIFY_SOURCE
#include "support/faults.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "support/platform.h"

namespace vexora::test {
namespace {

// Of the executable's own storage, so that reading it never allocates.
thread_local FailCall *armed = nullptr;
thread_local long heapBlocks = 0;

bool mustFail(std::string_view call, std::string_view group = kAnyFileCall) {
  return armed != nullptr && !InHarness::active() && armed->strikes(call, group);
}

// The function that this file's one of the same name hides.
template <typename Function>
Function *next(Function * /*ours*/, const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// The stream's error flag in glibc's layout, which its own failures would have set.
constexpr int kStreamError = 0x20;

void markFailed(std::FILE *file) { file->_flags |= kStreamError; }

mode_t modeArgument(int flags, std::va_list arguments) {
  return (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

FailCall::FailCall(std::string_view call, unsigned nth, int error, Strike strike)
    : call_(call), nth_(nth), error_(error), strike_(strike) {
  armed = this;
}

FailCall::~FailCall() { armed = nullptr; }

bool FailCall::strikes(std::string_view call, std::string_view group) {
  if (call_ != call && call_ != group) {
    return false;
  }
  ++seen_;
  const bool hit = strike_ == Strike::kFromThenOn ? seen_ >= nth_ : seen_ == nth_;
  if (!hit) {
    return false;
  }
  struck_ = true;
  if (strike_ == Strike::kKill) {
    kill(getpid(), SIGKILL);
  }
  errno = error_;
  return true;
}

HeapWatch::HeapWatch() : before_(heapBlocks) {}

long HeapWatch::growth() const { return heapBlocks - before_; }

}  // namespace vexora::test

using vexora::test::kAnyAllocation;
using vexora::test::markFailed;
using vexora::test::modeArgument;
using vexora::test::mustFail;
using vexora::test::next;

// Defines one interposed call that differs from the next only in names and types. The failure value comes last.
#define INTERPOSE(result, symbol, name, parameters, arguments, qualifier, failure) \
  result symbol parameters qualifier {                                             \
    static auto *const real = next(&symbol, #symbol);                              \
    return mustFail(name) ? (failure) : real arguments;                            \
  }

// The same for calls with a mode that is only there when the flags ask for it.
#define INTERPOSE_OPEN(symbol, name, parameters, arguments) \
  int symbol parameters {                                   \
    static auto *const real = next(&symbol, #symbol);       \
    std::va_list more;                                      \
    va_start(more, flags);                                  \
    const mode_t mode = modeArgument(flags, more);          \
    va_end(more);                                           \
    return mustFail(name) ? -1 : real arguments;            \
  }

extern "C" {

int __open_2(const char *path, int flags);
int __open64_2(const char *path, int flags);
int __openat_2(int folder, const char *path, int flags);
int __openat64_2(int folder, const char *path, int flags);
ssize_t __read_chk(int fd, void *data, std::size_t size, std::size_t room);
ssize_t __pread64_chk(int fd, void *data, std::size_t size, off64_t at, std::size_t room);
std::size_t __fread_chk(void *data, std::size_t room, std::size_t size, std::size_t count, std::FILE *file);

INTERPOSE_OPEN(open, "open", (const char *path, int flags, ...), (path, flags, mode))
INTERPOSE_OPEN(open64, "open", (const char *path, int flags, ...), (path, flags, mode))
INTERPOSE_OPEN(openat, "openat", (int folder, const char *path, int flags, ...), (folder, path, flags, mode))
INTERPOSE_OPEN(openat64, "openat", (int folder, const char *path, int flags, ...), (folder, path, flags, mode))
INTERPOSE(int, __open_2, "open", (const char *path, int flags), (path, flags), , -1)
INTERPOSE(int, __open64_2, "open", (const char *path, int flags), (path, flags), , -1)
INTERPOSE(int, __openat_2, "openat", (int folder, const char *path, int flags), (folder, path, flags), , -1)
INTERPOSE(int, __openat64_2, "openat", (int folder, const char *path, int flags), (folder, path, flags), , -1)

INTERPOSE(std::FILE *, fopen, "fopen", (const char *path, const char *mode), (path, mode), , nullptr)
INTERPOSE(std::FILE *, fopen64, "fopen", (const char *path, const char *mode), (path, mode), , nullptr)
INTERPOSE(std::FILE *, fdopen, "fdopen", (int fd, const char *mode), (fd, mode), noexcept, nullptr)
INTERPOSE(DIR *, opendir, "opendir", (const char *path), (path), , nullptr)

INTERPOSE(std::size_t, fread, "fread", (void *data, std::size_t size, std::size_t count, std::FILE *file),
          (data, size, count, file), , (markFailed(file), 0))
INTERPOSE(std::size_t, __fread_chk, "fread",
          (void *data, std::size_t room, std::size_t size, std::size_t count, std::FILE *file),
          (data, room, size, count, file), , (markFailed(file), 0))
INTERPOSE(std::size_t, fwrite, "fwrite", (const void *data, std::size_t size, std::size_t count, std::FILE *file),
          (data, size, count, file), , (markFailed(file), 0))
INTERPOSE(int, fputs, "fputs", (const char *text, std::FILE *file), (text, file), , (markFailed(file), EOF))
INTERPOSE(int, fflush, "fflush", (std::FILE * file), (file), , (file != nullptr ? markFailed(file) : void(), EOF))
INTERPOSE(int, fseek, "fseek", (std::FILE * file, long offset, int whence), (file, offset, whence), , -1)
INTERPOSE(int, fseeko, "fseek", (std::FILE * file, off_t offset, int whence), (file, offset, whence), , -1)
INTERPOSE(int, fseeko64, "fseek", (std::FILE * file, off64_t offset, int whence), (file, offset, whence), , -1)
// A failed close has closed all the same.
INTERPOSE(int, fclose, "fclose", (std::FILE * file), (file), , (real(file), EOF))
INTERPOSE(int, close, "close", (int fd), (fd), , (real(fd), -1))

INTERPOSE(ssize_t, read, "read", (int fd, void *data, std::size_t size), (fd, data, size), , -1)
INTERPOSE(ssize_t, __read_chk, "read", (int fd, void *data, std::size_t size, std::size_t room), (fd, data, size, room),
          , -1)
INTERPOSE(ssize_t, pread64, "pread", (int fd, void *data, std::size_t size, off64_t at), (fd, data, size, at), , -1)
INTERPOSE(ssize_t, __pread64_chk, "pread", (int fd, void *data, std::size_t size, off64_t at, std::size_t room),
          (fd, data, size, at, room), , -1)
INTERPOSE(ssize_t, write, "write", (int fd, const void *data, std::size_t size), (fd, data, size), , -1)
INTERPOSE(ssize_t, pwrite64, "pwrite", (int fd, const void *data, std::size_t size, off64_t at), (fd, data, size, at), ,
          -1)

INTERPOSE(int, fsync, "fsync", (int fd), (fd), , -1)
INTERPOSE(int, fdatasync, "fdatasync", (int fd), (fd), , -1)
INTERPOSE(int, ftruncate64, "ftruncate", (int fd, off64_t size), (fd, size), noexcept, -1)
INTERPOSE(int, rename, "rename", (const char *from, const char *to), (from, to), noexcept, -1)
INTERPOSE(int, unlink, "unlink", (const char *path), (path), noexcept, -1)
INTERPOSE(int, remove, "remove", (const char *path), (path), noexcept, -1)
INTERPOSE(int, mkdir, "mkdir", (const char *path, mode_t mode), (path, mode), noexcept, -1)
INTERPOSE(int, access, "access", (const char *path, int mode), (path, mode), noexcept, -1)
INTERPOSE(int, stat64, "stat", (const char *path, struct stat64 *out), (path, out), noexcept, -1)
INTERPOSE(int, fstat64, "fstat", (int fd, struct stat64 *out), (fd, out), noexcept, -1)
INTERPOSE(int, mkstemp64, "mkstemp", (char *pattern), (pattern), , -1)

int pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attributes) noexcept {
  static auto *const real = next(&pthread_mutex_init, "pthread_mutex_init");
  return mustFail("pthread_mutex_init", {}) ? errno : real(mutex, attributes);
}

#ifndef VEXORA_SANITIZED

void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
void __libc_free(void *block);

void *malloc(std::size_t size) noexcept {
  void *block = mustFail("malloc", kAnyAllocation) ? nullptr : __libc_malloc(size);
  vexora::test::heapBlocks += block != nullptr ? 1 : 0;
  return block;
}

void *calloc(std::size_t count, std::size_t size) noexcept {
  void *block = mustFail("calloc", kAnyAllocation) ? nullptr : __libc_calloc(count, size);
  vexora::test::heapBlocks += block != nullptr ? 1 : 0;
  return block;
}

void *realloc(void *old, std::size_t size) noexcept {
  if (mustFail("realloc", kAnyAllocation)) {
    return nullptr;
  }
  void *block = __libc_realloc(old, size);
  if (old == nullptr && block != nullptr) {
    ++vexora::test::heapBlocks;
  } else if (old != nullptr && size == 0) {
    --vexora::test::heapBlocks;
  }
  return block;
}

void free(void *block) noexcept {
  vexora::test::heapBlocks -= block != nullptr ? 1 : 0;
  __libc_free(block);
}

#endif
}
