// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <future>
#include <thread>

namespace vexora::test {

// Another thread that holds a lock until told to release it.
class LockedElsewhere {
 public:
  explicit LockedElsewhere(pthread_mutex_t *lock)
      : holder_([this, lock] {
          held_.set_value(pthread_mutex_lock(lock));
          released_.get_future().wait();
          EXPECT_EQ(pthread_mutex_unlock(lock), 0);
        }) {
    EXPECT_EQ(held_.get_future().get(), 0);
  }
  void release() {
    released_.set_value();
    holder_.join();
  }

 private:
  std::promise<int> held_;
  std::promise<void> released_;
  std::thread holder_;
};

}  // namespace vexora::test
