// SPDX-License-Identifier: Apache-2.0
//
// For the build that counts executed lines. Counters are written at a process's exit. A process that ends without exit
// handlers, as after a crash report, or by its own signal must write them before.
#include "support/test.h"

#include <sys/syscall.h>

extern "C" {

// The library's functions: each shared object has its own counters.
void __gcov_dump();
void __gcov_reset();
}

namespace {

// A second call must not count the written counters twice, so they are reset. Writing is a cancellation point: a thread
// cancelled in here would leave the counters locked.
void writeCounters() {
  const vexora::test::InHarness own;
  const int before = errno;
  int cancelState = PTHREAD_CANCEL_ENABLE;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
  __gcov_dump();
  __gcov_reset();
  pthread_setcancelstate(cancelState, nullptr);
  errno = before;
}

}  // namespace

// Weak, so that a test can define its own.
extern "C" {

[[gnu::weak]] void _exit(int status) {
  writeCounters();
  syscall(SYS_exit_group, status);
  __builtin_unreachable();
}

[[gnu::weak]] int kill(pid_t process, int signal) noexcept {
  if (process == getpid()) {
    writeCounters();
  }
  return static_cast<int>(syscall(SYS_kill, process, signal));
}

[[gnu::weak]] int raise(int signal) noexcept {
  writeCounters();
  return static_cast<int>(syscall(SYS_tgkill, getpid(), gettid(), signal));
}
}
