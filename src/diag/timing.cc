// SPDX-License-Identifier: Apache-2.0
//
// Sleeps that signals interrupt but don't shorten. The marker lines tell an engineer at the console
// that a daemon is being signalled while it sleeps; their trailing blanks are part of them.

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <limits>

#include "vexora/diag.h"

namespace {

/// What the target's 32-bit time holds.
constexpr unsigned kLongestSleep = std::numeric_limits<std::int32_t>::max();

/// Sleeps; true when a signal ended it, with what is left in the interval.
bool sleepIsInterrupted(timespec &interval) { return nanosleep(&interval, &interval) == -1 && errno == EINTR; }

void sleepThrough(unsigned seconds) {
  timespec left{};
  left.tv_sec = static_cast<time_t>(seconds);
  bool interrupted = sleepIsInterrupted(left);
  while (interrupted) {
    interrupted = sleepIsInterrupted(left);
    std::puts("vexora_sleep ");
  }
}

}  // namespace

int vexora_sleep(unsigned seconds) {
  // sleep(3) would tell what is left in whole seconds only, and so end up to a second early at each signal.
  for (; seconds > kLongestSleep; seconds -= kLongestSleep) {
    sleepThrough(kLongestSleep);
  }
  sleepThrough(seconds);
  return 0;
}

int vexora_nanosleep(unsigned seconds, long nanoseconds) {
  if (seconds == 0 && nanoseconds == 0) {
    return -1;
  }
  // More seconds than the platform's time can hold become a negative interval, which it refuses.
  timespec interval{};
  interval.tv_sec = static_cast<time_t>(seconds);
  interval.tv_nsec = nanoseconds;
  while (sleepIsInterrupted(interval)) {
    std::puts("VexoraNanoSleep ");
  }
  return 0;
}
