// SPDX-License-Identifier: Apache-2.0
// Locks, sleeps and bit fields. The program answers the library's sleeps in the platform's place, so no test waits.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <ctime>
#include <functional>
#include <future>
#include <latch>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/process.h"
#include "vexora/diag.h"

namespace vexora::test {
namespace {

using Interval = std::pair<long, long>;  // seconds and nanoseconds
using Intervals = std::vector<Interval>;
using Answer = std::function<int(std::size_t number, Interval &left)>;

// A sleep's answer, by its number from 1 on, is 0 when it finished, or an errno and what was left of it.
int finishes(std::size_t /*number*/, Interval & /*left*/) { return 0; }

int isInterruptedTwice(std::size_t number, Interval &left) {
  left = number == 1 ? Interval{6, 500} : Interval{5, 400};
  return number <= 2 ? EINTR : 0;
}

thread_local Answer answer = finishes;
thread_local Intervals slept;

int answerSleep(const Interval &interval, Interval &left) {
  slept.push_back(interval);
  return answer(slept.size(), left);
}

// The sleeps that a call made.
Intervals sleepsOf(const std::function<void()> &call, const Answer &answers) {
  slept.clear();
  answer = answers;
  call();
  answer = finishes;
  return slept;
}

// Another thread, which holds a lock until told to let go.
class Holder {
 public:
  explicit Holder(pthread_mutex_t *lock)
      : thread_([this, lock] {
          held_.set_value(vexora_dwacquire_mutex(lock, -1));
          letGo_.get_future().wait();
          EXPECT_EQ(vexora_dwrelease_mutex(lock), 0);
        }) {
    EXPECT_EQ(held_.get_future().get(), 0);
  }
  void letGo() {
    letGo_.set_value();
    thread_.join();
  }

 private:
  std::promise<int> held_;
  std::promise<void> letGo_;
  std::thread thread_;
};

class Lock : public testing::Test {
 protected:
  ~Lock() override { EXPECT_EQ(vexora_dwdestroy_mutex(lock_), 0); }

  // What a single try of another thread says.
  int tryElsewhere() {
    return std::async(std::launch::async,
                      [this] {
                        const int result = vexora_dwacquire_mutex(lock_, 0);
                        return result == 0 ? vexora_dwrelease_mutex(lock_) : result;
                      })
        .get();
  }

  pthread_mutex_t *const lock_ = vexora_pstmutex_init();
};

TEST_F(Lock, IsFreeOnceEveryTakeHasItsRelease) {
  for (const int timeout : {0, -1, 1, 0}) {
    EXPECT_EQ(vexora_dwacquire_mutex(lock_, timeout), 0);
  }
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(tryElsewhere(), EBUSY);
    EXPECT_EQ(vexora_dwdestroy_mutex(lock_), -1);  // and stays valid
    EXPECT_EQ(vexora_dwrelease_mutex(lock_), 0);
  }
  EXPECT_EQ(tryElsewhere(), 0);
  EXPECT_EQ(vexora_dwrelease_mutex(lock_), EPERM);
}

TEST_F(Lock, UnlimitedTakeWaitsForItsTurn) {
  int counter = 0;
  std::latch start(2);
  const auto countUp = [&] {
    int failures = 0;
    start.arrive_and_wait();
    for (int i = 0; i < 2000; ++i) {
      failures += vexora_dwacquire_mutex(lock_, -1) != 0 ? 1 : 0;
      ++counter;
      std::this_thread::yield();
      failures += vexora_dwrelease_mutex(lock_) != 0 ? 1 : 0;
    }
    return failures;
  };
  auto other = std::async(std::launch::async, countUp);
  EXPECT_EQ(countUp() + other.get(), 0);
  EXPECT_EQ(counter, 4000);
}

TEST_F(Lock, TimedTakeTriesOnceAMillisecondAndThenSaysBusy) {
  const Interval pause = {0, 1000000};
  const auto take = [&](int timeout, int result, const Intervals &pauses, const Answer &answers) {
    EXPECT_EQ(sleepsOf([&] { EXPECT_EQ(vexora_dwacquire_mutex(lock_, timeout), result); }, answers), pauses) << timeout;
  };
  Holder holder(lock_);
  take(0, EBUSY, {}, finishes);
  take(1, EBUSY, {pause}, finishes);
  take(3, EBUSY, {pause, {6, 500}, {5, 400}, pause, pause}, isInterruptedTwice);
  take(2, EBUSY, {pause, pause}, [&](std::size_t number, Interval &) { return number == 2 ? (holder.letGo(), 0) : 0; });
  Holder next(lock_);
  take(9, 0, {pause, pause}, [&](std::size_t number, Interval &) { return number == 2 ? (next.letGo(), 0) : 0; });
  EXPECT_EQ(tryElsewhere(), EBUSY);
  EXPECT_EQ(vexora_dwrelease_mutex(lock_), 0);
}

TEST_F(Lock, RefusedTakesLeaveTheLockFree) {
  for (const int timeout : {-2, INT_MIN}) {
    EXPECT_EQ(vexora_dwacquire_mutex(lock_, timeout), EINVAL);
  }
  EXPECT_EQ(tryElsewhere(), 0);
  for (const int timeout : {-2, -1, 0, 1}) {
    EXPECT_EQ(vexora_dwacquire_mutex(nullptr, timeout), -1);
  }
  EXPECT_EQ(vexora_dwrelease_mutex(nullptr), -1);
  EXPECT_EQ(vexora_dwdestroy_mutex(nullptr), -1);
  vexora_safefree(nullptr);
}

TEST(Sleep, GoesOnForWhatAnInterruptionLeft) {
  EXPECT_EQ(capturedOutput([] {
              EXPECT_EQ(sleepsOf([] { EXPECT_EQ(vexora_sleep(10), 0); }, isInterruptedTwice),
                        (Intervals{{10, 0}, {6, 500}, {5, 400}}));
            }),
            "vexora_sleep \nvexora_sleep \n");
  EXPECT_EQ(capturedOutput([] {
              EXPECT_EQ(sleepsOf([] { EXPECT_EQ(vexora_nanosleep(10, 999), 0); }, isInterruptedTwice),
                        (Intervals{{10, 999}, {6, 500}, {5, 400}}));
            }),
            "VexoraNanoSleep \nVexoraNanoSleep \n");
}

TEST(Sleep, TakesMoreThanA32BitTimeHoldsInTwo) {
  EXPECT_EQ(sleepsOf([] { EXPECT_EQ(vexora_sleep(0x80000001U), 0); }, finishes), (Intervals{{0x7FFFFFFF, 0}, {2, 0}}));
}

TEST(Sleep, EndsAtOnceForNothingAndForAnInvalidInterval) {
  const auto invalid = [](std::size_t, Interval &) { return EINVAL; };
  EXPECT_EQ(sleepsOf([] { EXPECT_EQ(vexora_sleep(1), 0); }, invalid), (Intervals{{1, 0}}));
  EXPECT_EQ(sleepsOf([] { EXPECT_EQ(vexora_nanosleep(0, 0), -1); }, finishes), Intervals{});
  EXPECT_EQ(sleepsOf([] { EXPECT_EQ(vexora_nanosleep(0, 1), 0); }, finishes), (Intervals{{0, 1}}));
  EXPECT_EQ(sleepsOf([] { EXPECT_EQ(vexora_nanosleep(1, -1), 0); }, invalid), (Intervals{{1, -1}}));
}

TEST(RetryCounter, SaysDoneOnceTheLimitIsReached) {
  unsigned char counter = 0;
  for (const auto &[limit, done] : {std::pair{3, 0}, {3, 0}, {3, 0}, {3, 1}, {3, 1}, {2, 1}, {-1, 1}}) {
    EXPECT_EQ(is_retry_done(&counter, limit), done) << limit;
  }
  EXPECT_EQ(counter, 3);
  counter = 254;
  EXPECT_EQ(is_retry_done(&counter, 255), 0);
  EXPECT_EQ(is_retry_done(&counter, 255), 1);
  EXPECT_EQ(is_retry_done(nullptr, 3), -1);
}

TEST(Bits, ArePickedSpreadCountedAndKept) {
  const struct {
    unsigned value, mask, picked, spread, common;
  } rows[] = {
      {0xB4, 0xF0, 0x0B, 0x40, 3}, {0x3, 0x0A, 0x1, 0x0A, 1},   {0x2, 0x0A, 0x1, 0x08, 1},
      {0xFF, 0x0F, 0x0F, 0x0F, 4}, {~0U, 0, 0, 0, 0},           {0xFF, 0x81, 0x3, 0x81, 2},
      {~0U, ~0U, 0xFF, 0xFF, 32},  {~0U, 0xFFFFFF00, 0, 0, 24}, {0x100, 0xFFF, 0, 0, 1},
  };
  for (const auto &[value, mask, picked, spread, common] : rows) {
    EXPECT_EQ(vexora_getbits(value, mask), picked) << value << " by " << mask;
    EXPECT_EQ(vexora_setbits(mask, value), spread) << value << " by " << mask;
    EXPECT_EQ(vexora_getbitset_num(value, mask), common) << value << " by " << mask;
  }
  const struct {
    int high, low;
    unsigned kept;
  } ranges[] = {{7, 4, 0xF0},   {4, 7, 0},   {31, 0, ~0U}, {31, 31, 1U << 31},
                {3, 3, 8},      {40, 32, 0}, {-1, -5, 0},  {INT_MAX, 30, 3U << 30},
                {1, INT_MIN, 3}};
  for (const auto &[high, low, kept] : ranges) {
    EXPECT_EQ(getBits(~0U, high, low), kept) << high << " to " << low;
  }
  EXPECT_EQ(getBits(0xA5A5, 11, 4), 0x5A0U);
}

}  // namespace
}  // namespace vexora::test

using vexora::test::Interval;

extern "C" {

// One test misuses a lock on purpose, which the thread sanitizer would report.
const char *__tsan_default_options() { return "report_destroy_locked=0:report_mutex_bugs=0"; }

int nanosleep(const std::timespec *interval, std::timespec *left) {
  Interval rest;
  errno = vexora::test::answerSleep({interval->tv_sec, interval->tv_nsec}, rest);
  left->tv_sec = rest.first;
  left->tv_nsec = rest.second;
  return errno == 0 ? 0 : -1;
}
}
