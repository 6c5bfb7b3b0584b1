// SPDX-License-Identifier: Apache-2.0
// Descriptor calls, locks, sleeps and bit fields. The program interposes the C library's calls, and a script sets the
// results of the next ones; no test waits.

#include <deque>

#include "support/test.h"
#include "vexora/diag.h"

namespace vexora::test {
namespace {

using Use = std::function<int()>;

// The results of this thread's next uses of one call: failure with an errno (negative), or at most so many bytes moved.
thread_local std::string scriptedCall;
thread_local std::deque<int> script;
// This thread's sleeps during the script; the second one releases this lock.
thread_local int sleeps = 0;
thread_local LockedElsewhere *releasing = nullptr;

int nextStep(const std::string &call) {
  if (call != scriptedCall || script.empty()) {
    return INT_MAX;
  }
  const int step = script.front();
  script.pop_front();
  errno = step < 0 ? -step : errno;
  return step;
}

int scripted(const std::string &call, const std::deque<int> &steps, const Use &use) {
  errno = 0;
  scriptedCall = call;
  script = steps;
  sleeps = 0;
  const int result = use();
  EXPECT_TRUE(script.empty()) << script.size() << " steps left";
  return result;
}

// The seconds and nanoseconds of each sleep in `use`, in order with its own output.
std::string sleepsIn(const Use &use, const std::deque<int> &steps, int result) {
  return capturedOutput([&] { EXPECT_EQ(scripted("nanosleep", steps, use), result); });
}

class Descriptors : public RootTest {
 protected:
  Descriptors() { EXPECT_EQ(pipe(ends_), 0); }
  ~Descriptors() override { close(out_), close(in_); }

  int ends_[2] = {-1, -1};
  const int &out_ = ends_[0], &in_ = ends_[1];
  char buffer_[17] = "~~~~~~~~~~~~~~~~";
};

TEST_F(Descriptors, EachCallIsRepeatedWhileInterruptedAndOtherwiseFailsAsTheKernelDoes) {
  timeval anHour = {3600, 0};
  fd_set writable = {};
  FD_SET(in_, &writable);
  int fd = -1;
  const std::tuple<std::string, int, Use> rows[] = {
      {"open", 1, [&] { return (fd = vexora_open("/dev/null", O_RDONLY)) < 0 ? -1 : 1; }},
      {"close", 0, [&] { return vexora_close(fd); }},
      {"open", 1, [&] { return (fd = vexora_open_mode("/dev/null", O_RDWR, 0600)) < 0 ? -1 : 1; }},
      {"write", 3, [&] { return vexora_write(in_, "abc", 3); }},
      {"read", 1, [&] { return vexora_read(out_, buffer_, 1); }},
      {"write", 2, [&] { return vexora_blocking_write(in_, "de", 2); }},
      {"read", 4, [&] { return vexora_blocking_read(out_, buffer_ + 1, 4); }},
      {"select", 1, [&] { return vexora_select(in_ + 1, nullptr, &writable, nullptr, &anHour); }},
  };
  for (const auto &[call, result, use] : rows) {
    EXPECT_EQ(scripted(call, {-EIO}, use), -1) << call;
    EXPECT_EQ(errno, EIO) << call;
    EXPECT_EQ(scripted(call, {-EINTR, -EINTR}, use), result) << call;
  }
  EXPECT_STREQ(buffer_, "abcde~~~~~~~~~~~");
}

TEST_F(Descriptors, CreationGivesThePermissionsAskedFor) {
  namespace fs = std::filesystem;
  const auto permissions = [](const char *path) { return fs::status(path).permissions(); };
  const mode_t mask = umask(0026);
  const int flags = O_CREAT | O_EXCL | O_WRONLY;
  EXPECT_GE(vexora_open("/var/without", flags), 0);
  EXPECT_GE(vexora_open_mode("/var/with", flags, 0666), 0);
  umask(mask);
  EXPECT_EQ(permissions("/var/without"), fs::perms(0));
  EXPECT_EQ(permissions("/var/with"), fs::perms(0640));
}

TEST_F(Descriptors, BlockingTransfersGoOnWhereTheLastPieceEnded) {
  const auto write = [&] { return vexora_blocking_write(in_, "0123456789", 10); };
  const auto read = [&] { return vexora_blocking_read(out_, buffer_, 10); };
  EXPECT_EQ(scripted("write", {3, 0, -EINTR, 1, 4, 0}, write), 10);
  EXPECT_EQ(scripted("read", {1, -EINTR, 6}, read), 10);
  EXPECT_STREQ(buffer_, "0123456789~~~~~~");
  EXPECT_EQ(vexora_blocking_write(in_, "", 0), 0);
  EXPECT_EQ(vexora_blocking_read(out_, buffer_, 0), 0);
  EXPECT_EQ(scripted("write", {1, -EIO}, write), -1);
  EXPECT_EQ(scripted("write", {9, 1}, write), 10);
  EXPECT_EQ(scripted("read", {1, -EISDIR}, read), -1);
  EXPECT_EQ(errno, EISDIR);
  close(in_);
  EXPECT_EQ(vexora_blocking_read(out_, buffer_, 16), 0) << "the file's end";
  EXPECT_STREQ(buffer_, "0123456789~~~~~~");
  EXPECT_EQ(vexora_read(out_, buffer_, 16), 0);
}

class Lock : public testing::Test {
 protected:
  ~Lock() override { EXPECT_EQ(vexora_dwdestroy_mutex(lock_), 0); }

  // The result of a single try in another thread.
  int tryElsewhere() {
    const auto tryOnce = [this] {
      const int result = vexora_dwacquire_mutex(lock_, 0);
      return result == 0 ? vexora_dwrelease_mutex(lock_) : result;
    };
    return std::async(std::launch::async, tryOnce).get();
  }

  pthread_mutex_t *const lock_ = vexora_pstmutex_init();
};

TEST_F(Lock, IsFreeAfterEveryAcquireHasItsRelease) {
  for (const int timeout : {0, -1, 1, 0}) {
    EXPECT_EQ(vexora_dwacquire_mutex(lock_, timeout), 0) << timeout;
  }
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(tryElsewhere(), EBUSY);
    EXPECT_EQ(vexora_dwdestroy_mutex(lock_), -1);  // the lock stays valid
    EXPECT_EQ(vexora_dwrelease_mutex(lock_), 0);
  }
  EXPECT_EQ(vexora_dwacquire_mutex(lock_, -2), EINVAL);
  EXPECT_EQ(tryElsewhere(), 0);
  EXPECT_EQ(vexora_dwrelease_mutex(lock_), EPERM);
  for (const int timeout : {-2, -1, 0, 1}) {
    EXPECT_EQ(vexora_dwacquire_mutex(nullptr, timeout), -1) << timeout;
  }
  EXPECT_EQ(vexora_dwrelease_mutex(nullptr), -1);
  EXPECT_EQ(vexora_dwdestroy_mutex(nullptr), -1);
  vexora_safefree(nullptr);
}

TEST_F(Lock, UnlimitedTakeWaitsForItsTurn) {
  int counter = 0;
  const auto countUp = [&] {
    for (int i = 0; i < 2000; ++i) {
      EXPECT_EQ(vexora_dwacquire_mutex(lock_, -1), 0);
      ++counter;
      std::this_thread::yield();
      EXPECT_EQ(vexora_dwrelease_mutex(lock_), 0);
    }
  };
  auto other = std::async(std::launch::async, countUp);
  countUp();
  other.get();
  EXPECT_EQ(counter, 4000);
}

TEST_F(Lock, TimedAcquireTriesOnceAMillisecondAndThenReturnsBusy) {
  const std::string pause = "0 1000000, ";
  const auto take = [&](int timeout, int result, const std::deque<int> &steps = {}) {
    return sleepsIn([&] { return vexora_dwacquire_mutex(lock_, timeout); }, steps, result);
  };
  LockedElsewhere holder(lock_);
  EXPECT_EQ(take(0, EBUSY), "");
  EXPECT_EQ(take(1, EBUSY), pause);
  EXPECT_EQ(take(3, EBUSY, {-EINTR, -EINTR}), pause + "0 500000, 0 250000, " + pause + pause);
  releasing = &holder;
  EXPECT_EQ(take(2, EBUSY), pause + pause);
  LockedElsewhere next(lock_);
  releasing = &next;
  EXPECT_EQ(take(9, 0), pause + pause);
  EXPECT_EQ(tryElsewhere(), EBUSY);
  EXPECT_EQ(vexora_dwrelease_mutex(lock_), 0);
}

TEST(Sleep, GoesOnForWhatAnInterruptionLeft) {
  const auto sleep = [](unsigned seconds) { return [=] { return vexora_sleep(seconds); }; };
  const auto nanosleep = [](unsigned seconds, long rest) { return [=] { return vexora_nanosleep(seconds, rest); }; };
  const std::deque<int> twice = {-EINTR, -EINTR};
  const std::tuple<Use, std::deque<int>, int, std::string> rows[] = {
      {sleep(12), twice, 0, "12 0, 6 0, vexora_sleep \n3 0, vexora_sleep \n"},
      {nanosleep(12, 8), twice, 0, "12 8, VexoraNanoSleep \n6 4, VexoraNanoSleep \n3 2, "},
      {sleep(0), {}, 0, "0 0, "},
      {sleep(0x80000000U), {}, 0, "2147483647 0, 1 0, "},  // above the maximum of a 32-bit time
      {sleep(1), {-EINVAL}, 0, "1 0, "},
      {nanosleep(0, 0), {}, -1, ""},
      {nanosleep(0, 1), {}, 0, "0 1, "},
      {nanosleep(1, 0), {}, 0, "1 0, "},
      {nanosleep(1, -1), {-EINVAL}, 0, "1 -1, "},
  };
  for (const auto &[call, steps, result, output] : rows) {
    EXPECT_EQ(sleepsIn(call, steps, result), output);
  }
}

TEST(RetryCounter, ReturnsDoneAfterTheLimitIsReached) {
  unsigned char counter = 0;
  for (const auto &[limit, done] : {std::pair{3, 0}, {3, 0}, {3, 0}, {3, 1}, {3, 1}, {2, 1}, {-1, 1}}) {
    EXPECT_EQ(is_retry_done(&counter, limit), done) << limit << ", counted " << +counter;
  }
  EXPECT_EQ(counter, 3);
  counter = 254;
  EXPECT_EQ(is_retry_done(&counter, 255), 0);
  EXPECT_EQ(is_retry_done(&counter, 255), 1);
  EXPECT_EQ(is_retry_done(nullptr, 3), -1);
}

TEST(Bits, ArePickedSpreadCountedAndKept) {
  const std::array<unsigned, 5> rows[] = {{0xB4, 0xF0, 0x0B, 0x40, 3},
                                          {0x2, 0x0A, 0x1, 0x08, 1},
                                          {0xFF, 0x81, 0x3, 0x81, 2},
                                          {~0U, ~0U, 0xFF, 0xFF, 32},
                                          {~0U, 0xFFFFFF00, 0, 0, 24}};
  for (const auto &[value, mask, picked, spread, common] : rows) {
    EXPECT_EQ(vexora_getbits(value, mask), picked) << value << " by " << mask;
    EXPECT_EQ(vexora_setbits(mask, value), spread) << value << " by " << mask;
    EXPECT_EQ(vexora_getbitset_num(value, mask), common) << value << " by " << mask;
  }
  const std::tuple<int, int, unsigned> ranges[] = {
      {7, 4, 0xF0}, {4, 7, 0}, {31, 0, ~0U}, {40, 32, 0}, {-1, -5, 0}, {INT_MAX, 30, 3U << 30}, {1, INT_MIN, 3}};
  for (const auto &[high, low, kept] : ranges) {
    EXPECT_EQ(getBits(~0U, high, low), kept) << high << " to " << low;
  }
  EXPECT_EQ(getBits(0xA5A5, 11, 4), 0x5A0U);
}

}  // namespace

extern "C" {

// The name that the library calls: files of any size.
int open64(const char *path, int flags, ...) {
  std::va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  return nextStep("open") < 0 ? -1 : original(&::open64, "open64")(path, flags, mode);
}

int close(int fd) { return nextStep("close") < 0 ? -1 : original(&::close, "close")(fd); }

ssize_t read(int fd, void *buffer, std::size_t length) {
  const int step = nextStep("read");
  return step < 0 ? -1 : original(&::read, "read")(fd, buffer, std::min(length, static_cast<std::size_t>(step)));
}

ssize_t write(int fd, const void *buffer, std::size_t length) {
  const int step = nextStep("write");
  return step < 0 ? -1 : original(&::write, "write")(fd, buffer, std::min(length, static_cast<std::size_t>(step)));
}

// An interrupted wait has used up its time-out.
int select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout) {
  if (nextStep("select") >= 0) {
    return original(&::select, "select")(count, read, write, except, timeout);
  }
  *timeout = {};
  return -1;
}

int nanosleep(const timespec *interval, timespec *left) {
  std::printf("%ld %ld, ", static_cast<long>(interval->tv_sec), interval->tv_nsec);
  if (++sleeps == 2 && releasing != nullptr) {
    std::exchange(releasing, nullptr)->release();
  }
  *left = {interval->tv_sec / 2, interval->tv_nsec / 2};
  return nextStep("nanosleep") < 0 ? -1 : 0;
}

// One test misuses a lock on purpose. The thread sanitizer would report it.
const char *__tsan_default_options() { return "report_destroy_locked=0:report_mutex_bugs=0"; }
}
}  // namespace vexora::test
