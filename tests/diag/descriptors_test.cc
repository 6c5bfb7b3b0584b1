// SPDX-License-Identifier: Apache-2.0
// The descriptor calls. The program stands between the library and the platform's calls, and lets a script decide what
// the next ones do.

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <deque>
#include <functional>
#include <string_view>

#include "support/files.h"
#include "vexora/diag.h"

namespace vexora::test {
namespace {

using Use = std::function<int()>;

// What this thread's next uses of one call do: fail with an errno (negative), or move at most so many bytes.
thread_local std::string_view scriptedCall;
thread_local std::deque<int> script;

int nextStep(std::string_view call) {
  if (call != scriptedCall || script.empty()) {
    return INT_MAX;
  }
  const int step = script.front();
  script.pop_front();
  errno = step < 0 ? -step : errno;
  return step;
}

int scripted(std::string_view call, const std::deque<int> &steps, const Use &use) {
  errno = 0;
  scriptedCall = call;
  script = steps;
  const int result = use();
  EXPECT_TRUE(script.empty()) << script.size() << " steps left";
  scriptedCall = {};
  return result;
}

class Descriptors : public RootTest {
 protected:
  Descriptors() { EXPECT_EQ(pipe(ends_), 0); }
  ~Descriptors() override {
    close(out_);
    close(in_);
  }

  int ends_[2] = {-1, -1};
  const int &out_ = ends_[0], &in_ = ends_[1];
  char buffer_[17] = "~~~~~~~~~~~~~~~~";
};

TEST_F(Descriptors, EachCallIsRepeatedWhileInterruptedAndOtherwiseFailsAsThePlatformDoes) {
  timeval anHour = {3600, 0};
  int fd = -1;
  const struct {
    std::string_view call;
    int result;
    Use use;
  } rows[] = {
      {"open", 1, [&] { return (fd = vexora_open("/dev/null", O_RDONLY)) < 0 ? -1 : 1; }},
      {"close", 0, [&] { return vexora_close(fd); }},
      {"open", 1, [&] { return (fd = vexora_open_mode("/dev/null", O_RDWR, 0600)) < 0 ? -1 : 1; }},
      {"close", 0, [&] { return vexora_close(fd); }},
      {"write", 3, [&] { return vexora_write(in_, "abc", 3); }},
      {"read", 1, [&] { return vexora_read(out_, buffer_, 1); }},
      {"write", 2, [&] { return vexora_blocking_write(in_, "de", 2); }},
      {"read", 4, [&] { return vexora_blocking_read(out_, buffer_ + 1, 4); }},
      {"select", 0, [&] { return vexora_select(0, nullptr, nullptr, nullptr, &anHour); }},
  };
  for (const auto &[call, result, use] : rows) {
    EXPECT_EQ(scripted(call, {-EIO}, use), -1) << call;
    EXPECT_EQ(errno, EIO) << call;
    EXPECT_EQ(scripted(call, {-EINTR, -EINTR}, use), result) << call;
  }
  EXPECT_STREQ(buffer_, "abcde~~~~~~~~~~~");
}

TEST_F(Descriptors, CreationGivesThePermissionsAskedFor) {
  const mode_t mask = umask(0027);
  const int flags = O_CREAT | O_EXCL | O_WRONLY;
  const std::pair<int, unsigned> made[] = {{vexora_open("/var/a", flags), 0},
                                           {vexora_open_mode("/var/b", flags, 0666), 0640}};
  umask(mask);
  for (const auto &[fd, permissions] : made) {
    struct stat status = {};
    EXPECT_EQ(fstat(fd, &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, permissions);
    EXPECT_EQ(vexora_close(fd), 0);
    EXPECT_EQ(vexora_close(fd), -1);
  }
  EXPECT_EQ(vexora_open_mode("/var/a", flags, 0666), -1);
  EXPECT_EQ(errno, EEXIST);
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
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(scripted("write", {9, 1}, write), 10);
  EXPECT_EQ(scripted("read", {1, -EISDIR}, read), -1);
  EXPECT_EQ(errno, EISDIR);
}

TEST_F(Descriptors, ReadsTellOfTheEndOfTheFile) {
  EXPECT_EQ(vexora_write(in_, "0123456789", 10), 10);
  close(in_);
  EXPECT_EQ(vexora_blocking_read(out_, buffer_, 16), 0);
  EXPECT_STREQ(buffer_, "0123456789~~~~~~");
  EXPECT_EQ(vexora_read(out_, buffer_, 16), 0);
}

}  // namespace
}  // namespace vexora::test

using vexora::test::nextStep;

// The function that this program's one of the same name hides.
#define PLATFORM(name, symbol) reinterpret_cast<decltype(&(name))>(dlsym(RTLD_NEXT, symbol))

extern "C" {

int open(const char *path, int flags, ...) {
  static auto *const real = PLATFORM(open, "open64");
  std::va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  return nextStep("open") < 0 ? -1 : real(path, flags, mode);
}

int close(int fd) {
  static auto *const real = PLATFORM(close, "close");
  return nextStep("close") < 0 ? -1 : real(fd);
}

ssize_t read(int fd, void *buffer, std::size_t length) {
  static auto *const real = PLATFORM(read, "read");
  const int most = nextStep("read");
  return most < 0 ? -1 : real(fd, buffer, std::min(length, static_cast<std::size_t>(most)));
}

ssize_t write(int fd, const void *buffer, std::size_t length) {
  static auto *const real = PLATFORM(write, "write");
  const int most = nextStep("write");
  return most < 0 ? -1 : real(fd, buffer, std::min(length, static_cast<std::size_t>(most)));
}

// Its wait is over when it is interrupted: nothing is left of the time-out.
int select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout) {
  static auto *const real = PLATFORM(select, "select");
  if (nextStep("select") >= 0) {
    return real(count, read, write, except, timeout);
  }
  *timeout = {};
  return -1;
}
}
