// SPDX-License-Identifier: Apache-2.0
//
// For all tests: files, processes and the firmware as tests see them, call faults, and the usual headers of the system
// and the standard library. One header, because it is precompiled once for all programs.
// An include guard, not #pragma once: the compiler may know a precompiled header under another file.
#ifndef VEXORA_TESTS_SUPPORT_TEST_H
#define VEXORA_TESTS_SUPPORT_TEST_H

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <limits>
#include <random>
#include <regex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "support/faults.h"

namespace vexora::test {

// Files of the private root, in one word each. Whole contents are strings. When a helper itself fails, it throws, which
// ends the test with the reason.

// Makes the file, with its parent directories, or replaces its content.
void write(const std::string &path, std::string_view contents);

// The whole file; throws when it can't be read.
std::string read(const std::string &path);

inline bool exists(const std::string &path) { return std::filesystem::exists(std::filesystem::symlink_status(path)); }

// Makes an empty file, such as a marker.
inline void touch(const std::string &path) { write(path, ""); }

// Makes a directory with its parents.
inline void makeDirectory(const std::string &path) { std::filesystem::create_directories(path); }

// Removes a file, or a directory with its content; a missing one is not an error.
inline void remove(const std::string &path) { std::filesystem::remove_all(path); }

// Names in a directory, sorted; empty when the directory is missing.
std::vector<std::string> list(const std::string &path);

// Empties every writable directory of the private root. Throws outside a private root: a test program that was started
// by hand must not delete the host's files.
void clearRoot();

// Number of open descriptors of this process.
int openDescriptors();

class RootTest : public testing::Test {
 protected:
  RootTest() { clearRoot(); }
};

// The firmware: its debug output, and its clock. The program defines the firmware's symbols, so it receives
// the library's calls.

// The next definition of a function that the test program interposes by its own, `ours`.
template <typename Function>
Function *original(Function * /*ours*/, const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// One call of the firmware's debug output or, with `maintenance`, of its maintenance output.
struct FirmwareMessage {
  int level;
  std::string text;
  bool maintenance = false;

  bool operator==(const FirmwareMessage &) const = default;
};

template <typename Stream>
Stream &operator<<(Stream &stream, const FirmwareMessage &message) {
  stream << (message.maintenance ? "maintenance " : "") << message.level << " \"" << message.text << '"';
  return stream;
}

// Replaces the source line, which differs between versions, by LINE: it is the first number of a message, and may occur
// again.
std::string withoutLine(std::string text);

// Collects the firmware's debug output while it lives; one at a time. Without one, messages go to standard error.
class FirmwareLog {
 public:
  FirmwareLog();
  ~FirmwareLog();
  FirmwareLog(FirmwareLog &&) = delete;

  // The messages since the construction or the last take(), without source lines.
  std::vector<FirmwareMessage> take();
};

// Stops `time` at a moment (seconds since the epoch) while it lives, for threads and forked processes, too.
class FixedClock {
 public:
  explicit FixedClock(std::time_t now) { set(now); }
  ~FixedClock() { set(kNone); }
  FixedClock(FixedClock &&) = delete;

  void set(std::time_t now) { moment_ = now; }
  void advance(std::time_t seconds) { moment_ += seconds; }
  // The fixed moment, or the real time when no clock lives.
  static std::time_t now();

 private:
  static constexpr std::time_t kNone = std::numeric_limits<std::time_t>::min();
  static inline std::atomic<std::time_t> moment_ = kNone;
};

// While one lives, the thread's calls are the test's own: call faults (faults.h) ignore them.
class InHarness {
 public:
  InHarness() { ++depth_; }
  ~InHarness() { --depth_; }
  InHarness(InHarness &&) = delete;

  [[nodiscard]] static bool active() { return depth_ > 0; }

 private:
  static inline thread_local int depth_ = 0;
};

// Processes and their standard output. The library keeps state as long as the process lives (the debug settings, the
// history ring), so the test of a fresh start runs in its own process.

// Runs `body` in a forked process and waits for it. Returns its exit status, 128 + N when signal N ended it. Failed
// expectations inside print as usual and make the status 1.
int runInChild(const std::function<void()> &body);

// Runs `body` in a forked process and fails the current test when anything failed or crashed there.
void inFreshProcess(const std::function<void()> &body);

// Switches the debug log on for a module, to standard output, for the library's next read of its settings.
void switchLogOn(const std::string &module);

// The output of `body` to standard output (descriptor 1). Calls can't be nested, not even in a forked process.
std::string capturedOutput(const std::function<void()> &body);

// Interrupts the process every millisecond while it lives; the kernel restarts no call. The fifth signal's handler runs
// `onFifth`.
class SignalStorm {
 public:
  explicit SignalStorm(void (*onFifth)() = nullptr);
  ~SignalStorm();
  SignalStorm(SignalStorm &&) = delete;

  [[nodiscard]] static int signals();

 private:
  struct sigaction before_ = {};
};

// Another thread that holds a lock until release() is called.
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

#endif  // VEXORA_TESTS_SUPPORT_TEST_H
