// SPDX-License-Identifier: Apache-2.0
//
// What the tests of both rings share. A ring waits for its lock by pausing with nanosleep, which is replaced here, so
// that no test waits for the minute after which a ring gives up.
#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace vexora::test {

// Unwritten bytes of an output keep this value.
inline std::string untouched(std::size_t size) { return std::string(size, '\xA5'); }

// Records of `size` bytes, no two of them alike; neighbours differ in every byte.
inline std::string records(std::uint32_t first, std::uint32_t number, std::size_t size = 4) {
  std::string bytes;
  for (std::uint32_t n = first; n < first + number; ++n) {
    for (std::size_t i = 0; i < size; ++i) {
      bytes += static_cast<char>(n * 37 + i + 1);
    }
  }
  return bytes;
}

template <typename Ring>
std::string contents(const Ring &ring) {
  return {static_cast<const char *>(ring->storage), std::size_t{ring->capacity} * ring->item_size};
}

// This thread's pauses, and what it does in them instead of a very short one.
inline thread_local unsigned pauses = 0;
inline thread_local std::function<void()> duringPause;

// Another thread that holds a lock until told to release it.
class LockedElsewhere {
 public:
  explicit LockedElsewhere(pthread_mutex_t *lock)
      : holder_([this, lock] {
          pthread_mutex_lock(lock);
          held_.set_value();
          released_.get_future().wait();
          pthread_mutex_unlock(lock);
        }) {
    held_.get_future().wait();
  }
  void release() {
    released_.set_value();
    holder_.join();
  }

 private:
  std::promise<void> held_;
  std::promise<void> released_;
  std::thread holder_;
};

using Calls = std::vector<std::pair<const char *, std::function<int()>>>;

// Makes every call that `operations` gives for a ring and a buffer: with a NULL ring, a NULL buffer, without a lock,
// and for a minute while another thread holds the lock. Each is refused and changes nothing. Then the lock is given
// back during the third pause, and each goes through.
template <typename Ring>
void expectRefusals(Ring *ring, Calls (*operations)(Ring *, void *)) {
  std::string buffer = untouched(64);
  const auto state = [&] {
    return std::tuple(contents(ring), ring->head, ring->tail, ring->item_size, ring->capacity, buffer);
  };
  const auto expectRefused = [&, before = state()](Ring *handle, void *out) {
    for (const auto &[name, call] : operations(handle, out)) {
      EXPECT_EQ(call(), -1) << name;
      EXPECT_EQ(state(), before) << name;
    }
  };
  expectRefused(nullptr, buffer.data());
  expectRefused(ring, nullptr);
  pthread_mutex_t *const lock = std::exchange(ring->lock, nullptr);
  expectRefused(ring, buffer.data());
  ring->lock = lock;
  const Calls calls = operations(ring, buffer.data());
  LockedElsewhere held(lock);
  duringPause = [] {};
  pauses = 0;
  expectRefused(ring, buffer.data());
  EXPECT_EQ(pauses, 60'000 * calls.size());
  held.release();
  for (const auto &[name, call] : calls) {
    LockedElsewhere other(lock);
    pauses = 0;
    duringPause = [&] {
      if (pauses == 3) {
        other.release();
      }
    };
    EXPECT_NE(call(), -1) << name;
    EXPECT_EQ(pauses, 3U) << name;
  }
  duringPause = {};
}

}  // namespace vexora::test

extern "C" inline __attribute__((used)) int nanosleep(const timespec *length, timespec * /*left*/) {
  EXPECT_TRUE(length->tv_sec == 0 && length->tv_nsec == 1'000'000);
  ++vexora::test::pauses;
  if (vexora::test::duringPause) {
    vexora::test::duringPause();
    return 0;
  }
  const timespec brief{.tv_sec = 0, .tv_nsec = 1000};
  return clock_nanosleep(CLOCK_MONOTONIC, 0, &brief, nullptr);
}
