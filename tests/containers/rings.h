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
#include <utility>
#include <vector>

namespace vexora::test {

// Unwritten bytes of an output keep this value.
inline constexpr char kUntouched = '\xA5';

inline std::string untouched(std::size_t size) { return std::string(size, kUntouched); }

// An output of `size` bytes whose first ones were written.
inline std::string written(const std::string &start, std::size_t size) {
  return start + untouched(size - start.size());
}

// A record of `size` bytes, no two of them alike, that differs from those of neighbouring numbers in every byte.
inline std::string record(std::uint32_t number, std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<char>(number * 37 + i + 1);
  }
  return bytes;
}

// This thread's pauses, for as long as it lives: counted, not slept through.
class CountedPauses {
 public:
  explicit CountedPauses(std::function<void(unsigned)> during = {}) : during_(std::move(during)) { current = this; }
  ~CountedPauses() { current = nullptr; }
  CountedPauses(const CountedPauses &) = delete;
  CountedPauses &operator=(const CountedPauses &) = delete;

  void pause(const timespec &length) {
    ++count_;
    milliseconds_ += length.tv_sec * 1000 + length.tv_nsec / 1'000'000;
    if (during_) {
      during_(count_);
    }
  }
  [[nodiscard]] unsigned count() const { return count_; }
  [[nodiscard]] long milliseconds() const { return milliseconds_; }

  static inline thread_local CountedPauses *current = nullptr;

 private:
  std::function<void(unsigned)> during_;
  unsigned count_ = 0;
  long milliseconds_ = 0;
};

// Another thread that holds a lock until told to release it.
class LockedElsewhere {
 public:
  explicit LockedElsewhere(pthread_mutex_t *lock)
      : holder_([this, lock] {
          pthread_mutex_lock(lock);
          held_.set_value();
          release_.get_future().wait();
          pthread_mutex_unlock(lock);
        }) {
    held_.get_future().wait();
  }
  ~LockedElsewhere() { release(); }
  LockedElsewhere(const LockedElsewhere &) = delete;
  LockedElsewhere &operator=(const LockedElsewhere &) = delete;

  void release() {
    if (holder_.joinable()) {
      release_.set_value();
      holder_.join();
    }
  }

 private:
  std::promise<void> held_;
  std::promise<void> release_;
  std::thread holder_;
};

struct NamedCall {
  const char *name;
  std::function<int()> call;
};

// Gives each call of a ring with arguments that would suit it: operations(ring, buffer).
template <typename Ring>
using Operations = std::vector<NamedCall> (*)(Ring *ring, void *buffer);

// Tries every operation with a NULL ring, without a lock, with a NULL buffer, and while another thread holds the lock:
// each is refused and changes nothing. At last the lock is given back while they wait, and each goes through.
template <typename Ring>
void expectRefusals(Ring *ring, Operations<Ring> operations) {
  const auto contents = [ring] {
    return std::string(static_cast<const char *>(ring->storage), std::size_t{ring->capacity} * ring->item_size);
  };
  const auto fields = [ring] { return std::vector{ring->head, ring->tail, ring->item_size, ring->capacity}; };
  const auto before = std::pair(contents(), fields());
  std::string buffer = untouched(64);
  const auto expectRefused = [&](Ring *handle, void *out) {
    for (const auto &[name, call] : operations(handle, out)) {
      EXPECT_EQ(call(), -1) << name;
      EXPECT_EQ(std::pair(contents(), fields()), before) << name;
      EXPECT_EQ(buffer, untouched(64)) << name;
    }
  };
  expectRefused(nullptr, buffer.data());
  expectRefused(ring, nullptr);
  pthread_mutex_t *const lock = std::exchange(ring->lock, nullptr);
  expectRefused(ring, buffer.data());
  ring->lock = lock;
  {
    const CountedPauses pauses;
    const LockedElsewhere held(lock);
    expectRefused(ring, buffer.data());
    const auto refused = static_cast<unsigned>(operations(ring, buffer.data()).size());
    EXPECT_EQ(pauses.count(), refused * 60'000);
    EXPECT_EQ(pauses.milliseconds(), pauses.count());
  }
  for (const auto &[name, call] : operations(ring, buffer.data())) {
    LockedElsewhere held(lock);
    const CountedPauses pauses([&](unsigned count) {
      if (count == 3) {
        held.release();
      }
    });
    EXPECT_NE(call(), -1) << name;
    EXPECT_EQ(pauses.count(), 3U) << name;
  }
}

}  // namespace vexora::test

// Threads that contend for a ring pause briefly instead of a millisecond.
extern "C" inline __attribute__((used)) int nanosleep(const timespec *length, timespec * /*left*/) {
  if (vexora::test::CountedPauses::current != nullptr) {
    vexora::test::CountedPauses::current->pause(*length);
    return 0;
  }
  const timespec brief{.tv_sec = 0, .tv_nsec = 1000};
  return clock_nanosleep(CLOCK_MONOTONIC, 0, &brief, nullptr);
}
