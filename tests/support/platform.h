// SPDX-License-Identifier: Apache-2.0
//
// The platform as a test program sees it: its debug output, its clock and its sensors. The program defines the
// platform's symbols, so the library's calls arrive here. Linked into every test program.
#pragma once

#include <dlfcn.h>

#include <atomic>
#include <ctime>
#include <limits>
#include <string>
#include <vector>

namespace vexora::test {

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

}  // namespace vexora::test
