// SPDX-License-Identifier: Apache-2.0
//
// What a test program begins with: files, processes and the platform as tests see them, call faults, and the system's
// and the standard library's everyday headers. One header, since it is made ready once for all programs.
// A guard of its own: the compiler knows a header by its file, which in a precompiled one may be another.
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

// Files of the private root, in one word each. Whole contents travel as strings. Failures of the helpers themselves
// throw, which ends the test with the reason.

// Makes the file, with its parent folders, or replaces what it held.
void write(const std::string &path, std::string_view contents);

// The whole file; throws when it cannot be read.
std::string read(const std::string &path);

bool exists(const std::string &path);

// Makes an empty file, or leaves an existing one as it is. For marker files.
void touch(const std::string &path);

// Makes a folder with its parents.
void makeFolder(const std::string &path);

// Removes a file, or a folder with all it holds; a missing one is fine.
void remove(const std::string &path);

// Names in a folder, sorted; empty when there is no such folder.
std::vector<std::string> list(const std::string &path);

// Empties every writable folder of the private root. Throws outside a private root, so that a test program started by
// hand never deletes the host's files.
void clearRoot();

// Number of open descriptors of this process, to compare before and after a call.
int openDescriptors();

// Starts each test with an empty private root.
class RootTest : public testing::Test {
 protected:
  RootTest() { clearRoot(); }
};

// The platform: its debug output, its clock and its sensors. The program defines the platform's symbols, so the
// library's calls arrive here.

// The function that a test program's one of the same name, `ours`, hides.
template <typename Function>
Function *original(Function * /*ours*/, const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// One call of the platform's debug output (or, for `maintenance`, of its maintenance output).
struct PlatformMessage {
  int level;
  std::string text;
  bool maintenance = false;

  bool operator==(const PlatformMessage &) const = default;
};

template <typename Stream>
Stream &operator<<(Stream &stream, const PlatformMessage &message) {
  stream << (message.maintenance ? "maintenance " : "") << message.level << " \"" << message.text << '"';
  return stream;
}

// Puts LINE for the source line, different in every version, that a message tells first of all numbers, also where it
// tells it again.
std::string withoutLine(std::string text);

// Collects the platform's debug output while it lives; one at a time. Without one, messages go to standard error.
class PlatformLog {
 public:
  PlatformLog();
  ~PlatformLog();
  PlatformLog(PlatformLog &&) = delete;

  // What arrived since the construction or the last take(), without source lines.
  std::vector<PlatformMessage> take();
};

// Stops `time` at a moment (seconds since the epoch) while it lives; afterwards the real time is back. Threads and
// forked processes see the same moment.
class FixedClock {
 public:
  explicit FixedClock(std::time_t now) { set(now); }
  ~FixedClock() { set(kNone); }
  FixedClock(FixedClock &&) = delete;

  void set(std::time_t now) { moment_ = now; }
  void advance(std::time_t seconds) { moment_ += seconds; }
  // The moment, or the real time when none lives.
  static std::time_t now();

 private:
  static constexpr std::time_t kNone = std::numeric_limits<std::time_t>::min();
  static inline std::atomic<std::time_t> moment_ = kNone;
};

// Puts the stand-in sensor library where the library under test looks for it. Its readings come from a file of /var.
void installSensorLibrary();

// While one lives, the thread's calls are the test's own: call faults (faults.h) let them through.
class InHarness {
 public:
  InHarness() { ++depth_; }
  ~InHarness() { --depth_; }
  InHarness(InHarness &&) = delete;

  [[nodiscard]] static bool active() { return depth_ > 0; }

 private:
  static inline thread_local int depth_ = 0;
};

// Processes and their standard output. The library keeps state for the life of a process (the debug settings, the
// history ring), so a test of a fresh start runs its story in a process of its own.

// Runs `body` in a forked process and waits for it. Returns its exit status, 128 + N when signal N ended it. Failed
// expectations inside print as usual and make the status 1.
int runInChild(const std::function<void()> &body);

// Runs `body` in a forked process and fails the current test when anything failed or crashed there.
void inFreshProcess(const std::function<void()> &body);

// Switches the debug log on for a module, to standard output, with the next settings that the library reads.
void switchLogOn(const std::string &module);

// What `body` writes to standard output (descriptor 1). Not to be nested, in a forked process neither.
std::string capturedOutput(const std::function<void()> &body);

// Interrupts the process every millisecond while it lives; the kernel takes no call up again by itself. `onFifth` runs
// in the fifth signal's handler.
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
