// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>

#include <cerrno>
#include <memory>

namespace vexora {

inline constexpr int kWaitForever = -1;

/// Continues after a first attempt that failed with `result`. Out of line, so that the usual case stays small.
int retryLock(pthread_mutex_t *lock, int attempts, int result);

/// Acquires a lock as vexora_dwacquire_mutex does.
inline int acquireLock(pthread_mutex_t *lock, int attempts) {
  if (lock == nullptr) {
    return -1;
  }
  if (attempts == kWaitForever) {
    return pthread_mutex_lock(lock);
  }
  if (attempts < 0) {
    return EINVAL;
  }
  const int result = pthread_mutex_trylock(lock);
  return result == 0 || attempts == 0 ? result : retryLock(lock, attempts, result);
}

/// Makes a recursive lock as vexora_pstmutex_init does; null on failure.
pthread_mutex_t *makeLock();

/// Destroys a lock as vexora_dwdestroy_mutex does.
int destroyLock(pthread_mutex_t *lock);

struct DestroyLock {
  void operator()(pthread_mutex_t *lock) const { static_cast<void>(destroyLock(lock)); }
};

using Lock = std::unique_ptr<pthread_mutex_t, DestroyLock>;

/// Holds a lock for a scope, unless it could not be acquired.
class LockHold {
 public:
  LockHold(pthread_mutex_t *lock, int attempts) : lock_(acquireLock(lock, attempts) == 0 ? lock : nullptr) {}
  LockHold(const LockHold &) = delete;
  LockHold &operator=(const LockHold &) = delete;
  ~LockHold() {
    if (lock_ != nullptr) {
      static_cast<void>(pthread_mutex_unlock(lock_));
    }
  }

  explicit operator bool() const { return lock_ != nullptr; }

 private:
  pthread_mutex_t *const lock_;
};

}  // namespace vexora
