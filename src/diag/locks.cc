// SPDX-License-Identifier: Apache-2.0
//
// Recursive locks on the heap. A timed acquisition polls with non-blocking attempts 1 ms apart; it never blocks in
// pthread_mutex_lock.

#include "diag/locks.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "base/owners.h"
#include "vexora/diag.h"

namespace {

constexpr long kPauseNanoseconds = 1'000'000;

void pauseBetweenAttempts() {
  timespec left{.tv_sec = 0, .tv_nsec = kPauseNanoseconds};
  while (nanosleep(&left, &left) == -1 && errno == EINTR) {
  }
}

/// Makes `lock` a recursive mutex in place.
bool initialiseRecursive(pthread_mutex_t *lock) {
  pthread_mutexattr_t attributes;
  if (pthread_mutexattr_init(&attributes) != 0) {
    return false;
  }
  const bool made = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE) == 0 &&
                    pthread_mutex_init(lock, &attributes) == 0;
  static_cast<void>(pthread_mutexattr_destroy(&attributes));
  return made;
}

}  // namespace

namespace vexora {

pthread_mutex_t *makeLock() {
  HeapBlock<pthread_mutex_t> lock(static_cast<pthread_mutex_t *>(std::malloc(sizeof(pthread_mutex_t))));
  if (!lock || !initialiseRecursive(lock.get())) {
    return nullptr;
  }
  return lock.release();
}

int retryLock(pthread_mutex_t *lock, int attempts, int result) {
  for (int attempt = 1; result != 0; ++attempt) {
    pauseBetweenAttempts();
    if (attempt == attempts) {
      return result;
    }
    result = pthread_mutex_trylock(lock);
  }
  return 0;
}

int destroyLock(pthread_mutex_t *lock) {
  if (lock == nullptr || pthread_mutex_destroy(lock) != 0) {
    return -1;
  }
  std::free(lock);
  return 0;
}

}  // namespace vexora

void vexora_safefree(void *pointer) { std::free(pointer); }

pthread_mutex_t *vexora_pstmutex_init() { return vexora::makeLock(); }

int vexora_dwacquire_mutex(pthread_mutex_t *lock, int attempts) { return vexora::acquireLock(lock, attempts); }

int vexora_dwrelease_mutex(pthread_mutex_t *lock) { return lock == nullptr ? -1 : pthread_mutex_unlock(lock); }

int vexora_dwdestroy_mutex(pthread_mutex_t *lock) { return vexora::destroyLock(lock); }
