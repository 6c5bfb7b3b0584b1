// SPDX-License-Identifier: Apache-2.0
//
// Makes system calls fail on purpose. In a program that links this, its own and the library's calls of the C library go
// through counters, and an armed fault makes a chosen one fail. Only calls of the thread that armed the fault count,
// without those of the test support itself (firmware log, clock, sensors).
//
//   setUp();
//   failEach("fwrite", ENOSPC,
//            [&] { result = historyDataInit(); },
//            [&](unsigned n) { EXPECT_EQ(read(kFile), before) << "write " << n; });
//
// Calls known by name: open, fopen, fread, fwrite, fflush, fclose, fsync, close, read, write, rename, remove, stat,
// statx, access, opendir, readdir, malloc, calloc, realloc, pthread_mutex_init. A name covers the variants that one
// source word compiles to (64-bit offsets, fortified forms). The three heap calls exist only in builds without
// sanitizers.
#pragma once

#include <climits>
#include <string>
#include <string_view>

namespace vexora::test {

// Groups of calls, which an armed fault can name instead of one.
inline constexpr std::string_view kAnyFileCall = "any file call";
inline constexpr std::string_view kAnyAllocation = "any allocation";

// While true, readdir returns entries without a type, as some file systems do.
extern bool entriesWithoutType;

// For a fault that only counts.
inline constexpr unsigned kNever = UINT_MAX;

enum class Strike {
  kOnce,      // the nth call fails, later ones work again
  kFromThen,  // the nth call and all later ones fail
  kKill,      // the process dies by SIGKILL just before the nth call
  kSay,       // the nth call succeeds but sets errno, as it may
};

// Armed while it lives; one a thread at a time.
class FailCall {
 public:
  FailCall(std::string_view call, unsigned nth, int error, Strike strike = Strike::kOnce);
  ~FailCall();
  FailCall(FailCall &&) = delete;

  // Whether the fault has made a call fail.
  [[nodiscard]] bool struck() const { return seen_ >= nth_; }
  // Calls of that name so far, the failed ones included.
  [[nodiscard]] unsigned seen() const { return seen_; }

  // For the interposed calls: counts this one and returns whether it must fail, with errno set.
  bool strikes(std::string_view call, std::string_view group);

 private:
  std::string_view call_;
  unsigned nth_;
  int error_;
  Strike strike_;
  unsigned seen_ = 0;
};

// Repeats `call` with its 1st, 2nd, 3rd ... use of `name` failing, and `check(n)` after each without the fault, until
// `call` succeeds. Returns the number of failures, so that a test can expect some.
template <typename Call, typename Check>
unsigned failEach(std::string_view name, int error, Call call, Check check, Strike strike = Strike::kOnce) {
  for (unsigned n = 1;; ++n) {
    bool struck = false;
    {
      FailCall fault(name, n, error, strike);
      call();
      struck = fault.struck();
    }
    if (!struck) {
      return n - 1;
    }
    check(n);
  }
}

// This thread's heap blocks now, less those at construction; 0 after a call that leaks nothing. Only in builds without
// sanitizers, which find leaks themselves.
class HeapWatch {
 public:
  [[nodiscard]] long growth() const { return blocks_ - before_; }

  // For the interposed calls.
  static void count(long blocks) { blocks_ += blocks; }

 private:
  static inline thread_local long blocks_ = 0;  // in the executable's own storage, so that counting never allocates
  long before_ = blocks_;
};

}  // namespace vexora::test
