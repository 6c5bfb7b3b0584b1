// SPDX-License-Identifier: Apache-2.0
//
// Measures a hot path against its floor, the least work of any implementation, and prints a table.
//
// On a shared machine times drift by more than the differences that matter here. So path and floor are timed in turns,
// in rounds of well under a millisecond where the work allows it, and the result is the median of the rounds' ratios.
//
// On the emulated board the clock counts executed instructions. A loop of known length calibrates instructions a
// nanosecond, and the time of an empty round is subtracted. Interrupts only add to a round, so the smallest one counts.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

namespace vexora::bench {

/// Tells the compiler that all memory is read and written here, so that it keeps a copy into that memory.
inline void touchMemory() { __asm__ volatile("" ::: "memory"); }

/// The maximum for a path: as a multiple of its floor, on a workstation and on the board, or in instructions on the
/// board. 0 means no limit.
struct Aim {
  double host = 0;
  double board = 0;
  double instructions = 0;
};

class Table {
 public:
  /// `PROGRAM [-i | -s] [WORD]`: -i counts instructions. -s is for strace: it measures nothing, and each path makes ten
  /// calls between two marks, which are writes to an invalid descriptor. WORD selects the paths with it in their names.
  /// The output of the paths themselves is discarded.
  Table(int argc, char **argv) {
    for (int i = 1; i < argc; ++i) {
      if (std::strcmp(argv[i], "-i") == 0) {
        counting_ = true;
      } else if (std::strcmp(argv[i], "-s") == 0) {
        traced_ = true;
      } else {
        word_ = argv[i];
      }
    }
    std::fprintf(out_, "%-32s %12s %12s %7s %9s\n", "# hot path", counting_ ? "instructions" : "ns", "floor", "ratio",
                 "aim");
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
  }
  Table(const Table &) = delete;
  Table &operator=(const Table &) = delete;
  ~Table() {
    std::fclose(out_);
    finished_.release();
    companion_.join();
  }

  bool counts() const { return counting_; }

  /// The program's exit status: 0 when each call succeeded.
  int status() const { return status_; }

  void fail(const std::string &path, const char *why) {
    std::fprintf(out_, "# %s: %s\n", path.c_str(), why);
    status_ = 1;
  }

  /// Prints a path's line; `calls` calls make a round. A call returns whether it succeeded.
  template <typename Subject, typename Floor>
  void compare(const std::string &path, Aim aim, int calls, Subject subject, Floor floor) {
    if (path.find(word_) == std::string::npos) {
      return;
    }
    allDone_ = true;
    if (traced_) {
      trace(path, subject);
      round(1, floor);
      return;
    }
    const Figures figures = counting_ ? count(calls, subject, floor) : time(calls, subject, floor);
    if (!allDone_) {
      fail(path, "a call did not do its work");
      return;
    }
    const double most = counting_ ? aim.instructions > 0 ? aim.instructions : aim.board : aim.host;
    const bool within = (counting_ && aim.instructions > 0 ? figures.subject : figures.ratio) <= most;
    std::fprintf(out_, "%-32s %12.*f %12.*f %7.3f %9.7g %s\n", path.c_str(), counting_ ? 0 : 1, figures.subject,
                 counting_ ? 0 : 1, figures.floor, figures.ratio, most,
                 most == 0 ? ""
                 : within  ? "within"
                           : "OVER");
    std::fflush(out_);
  }

 private:
  static constexpr int kCountedRounds = 4;
  static constexpr std::size_t kTimedRounds = 21;
  static constexpr std::chrono::milliseconds kTimed{300};
  using Clock = std::chrono::steady_clock;
  using Nanoseconds = std::chrono::duration<double, std::nano>;

  struct Figures {
    double subject;
    double floor;
    double ratio;
  };

  template <typename Call>
  double round(int calls, Call &call) {
    const auto begin = Clock::now();
    for (int i = 0; i < calls; ++i) {
      allDone_ &= call();
    }
    return Nanoseconds(Clock::now() - begin).count();
  }

  static double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
  }

  template <typename Subject, typename Floor>
  Figures time(int calls, Subject &subject, Floor &floor) {
    std::vector<double> subjects;
    std::vector<double> floors;
    std::vector<double> ratios;
    const auto begin = Clock::now();
    while (ratios.size() < kTimedRounds || Clock::now() - begin < kTimed) {
      // The second one finds the caches as the first left them, so they take turns.
      const bool floorFirst = ratios.size() % 2 != 0;
      double floorTime = floorFirst ? round(calls, floor) : 0;
      subjects.push_back(round(calls, subject));
      if (!floorFirst) {
        floorTime = round(calls, floor);
      }
      floors.push_back(floorTime);
      ratios.push_back(subjects.back() / floorTime);
    }
    return {median(subjects) / calls, median(floors) / calls, median(ratios)};
  }

  template <typename Call>
  void trace(const std::string &path, Call &call) {
    constexpr int kTracedCalls = 10;
    const std::string begin = "begin " + path;
    round(1, call);
    static_cast<void>(!write(-1, begin.data(), begin.size()));
    for (int i = 0; i < kTracedCalls; ++i) {
      call();
    }
    static_cast<void>(!write(-1, "end", 3));
  }

  template <typename Call>
  double smallestRound(int calls, Call &call) {
    round(calls, call);
    double smallest = round(calls, call);
    for (int i = 1; i < kCountedRounds; ++i) {
      smallest = std::min(smallest, round(calls, call));
    }
    return smallest;
  }

  template <typename Subject, typename Floor>
  Figures count(int calls, Subject &subject, Floor &floor) {
    constexpr int kLoop = 100'000;
    auto nothing = [] {
      touchMemory();
      return true;
    };
    auto loop = [] {
#ifdef __arm__
      int rest = kLoop / 2;
      __asm__ volatile("1: subs %0, %0, #1\n bne 1b" : "+r"(rest)::"cc");
#endif
      return true;
    };
    const double instructions = kLoop / (smallestRound(1, loop) - smallestRound(1, nothing));
    const double empty = smallestRound(calls, nothing);
    const double subjectCount = (smallestRound(calls, subject) - empty) * instructions / calls;
    const double floorCount = (smallestRound(calls, floor) - empty) * instructions / calls;
    return {subjectCount, floorCount, subjectCount / floorCount};
  }

  std::FILE *out_ = fdopen(dup(STDOUT_FILENO), "w");
  // A daemon has threads; without one, locks would be cheaper here.
  std::binary_semaphore finished_{0};
  std::thread companion_{[this] { finished_.acquire(); }};
  bool counting_ = false;
  bool traced_ = false;
  std::string word_;
  int status_ = 0;
  bool allDone_ = true;
};

}  // namespace vexora::bench
