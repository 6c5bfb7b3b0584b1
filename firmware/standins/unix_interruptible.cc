// SPDX-License-Identifier: Apache-2.0
// System calls, semaphore waits and commands that continue after EINTR.

#include <fcntl.h>
#include <semaphore.h>
#include <signal.h>
#include <spawn.h>
#include <sys/msg.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "firmware/unix.h"

namespace {

template <typename Call>
auto retry(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) {
    result = call();
  }
  return result;
}

struct timeval toTimeval(std::chrono::microseconds time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  struct timeval result = {};
  result.tv_sec = static_cast<decltype(result.tv_sec)>(seconds.count());
  result.tv_usec = static_cast<decltype(result.tv_usec)>((time - seconds).count());
  return result;
}

bool startShell(const char *command, pid_t *child) {
  posix_spawnattr_t attributes;
  if (posix_spawnattr_init(&attributes) != 0) {
    return false;
  }
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  // posix_spawn does not write to its arguments; its non-const type is historical.
  char *const arguments[] = {const_cast<char *>("sh"), const_cast<char *>("-c"), const_cast<char *>("--"),
                             const_cast<char *>(command), nullptr};
  const int error = posix_spawn(child, "/bin/sh", nullptr, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  return error == 0;
}

}  // namespace

// Not every kernel or emulator updates the time-out when select fails with EINTR, so the rest is computed here.
int sigwrap_select(int nfds, fd_set *readSet, fd_set *writeSet, fd_set *exceptSet, struct timeval *timeout) {
  using std::chrono::microseconds;
  using std::chrono::steady_clock;
  if (timeout == nullptr) {
    return retry([=] { return select(nfds, readSet, writeSet, exceptSet, nullptr); });
  }
  const auto total = std::chrono::seconds(timeout->tv_sec) + microseconds(timeout->tv_usec);
  const auto start = steady_clock::now();
  int result = select(nfds, readSet, writeSet, exceptSet, timeout);
  while (result == -1 && errno == EINTR) {
    const auto elapsed = std::chrono::duration_cast<microseconds>(steady_clock::now() - start);
    *timeout = toTimeval(std::max(total - elapsed, microseconds::zero()));
    result = select(nfds, readSet, writeSet, exceptSet, timeout);
  }
  return result;
}

int sigwrap_msgsnd(int queue, const void *message, size_t textSize, int flags) {
  return retry([=] { return msgsnd(queue, message, textSize, flags); });
}

ssize_t sigwrap_msgrcv(int queue, void *message, size_t textSize, long type, int flags) {
  return retry([=] { return msgrcv(queue, message, textSize, type, flags); });
}

// Handles are never closed: the firmware's interface has no close, and sem_open returns the same handle for each name.
void *CreateSemaphore(const char *name) {
  if (name == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  constexpr mode_t kAnyUser = 0666;
  constexpr unsigned int kFree = 1;
  sem_t *semaphore = sem_open(name, O_CREAT, kAnyUser, kFree);
  return semaphore == SEM_FAILED ? nullptr : semaphore;
}

int WaitSemaphore(void *semaphore) {
  if (semaphore == nullptr) {
    return -1;
  }
  return retry([=] { return sem_wait(static_cast<sem_t *>(semaphore)); });
}

int ReleaseSemaphore(void *semaphore, const char *name) {
  static_cast<void>(name);
  return semaphore == nullptr ? -1 : sem_post(static_cast<sem_t *>(semaphore));
}

int safe_system(const char *command) {
  pid_t child = -1;
  if (command == nullptr || !startShell(command, &child)) {
    return -1;
  }
  int status = -1;
  return retry([&] { return waitpid(child, &status, 0); }) == child ? status : -1;
}
