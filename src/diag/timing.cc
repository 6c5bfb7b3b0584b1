// SPDX-License-Identifier: Apache-2.0
//
// Sleeps that signals interrupt but don't shorten. The marker lines show an engineer at the console that a sleeping
// daemon is being signalled; their trailing blanks are part of them.

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <limits>

#include "vexora/diag.h"

namespace {

/// The largest value of the target's 32-bit time.
constexpr unsigned kMaxSleep = std::numeric_limits<std::int32_t>::max();

/// Sleeps; returns false when a signal ended it, and the interval then holds the remaining time.
bool sleepEnds(timespec &interval) { return nanosleep(&interval, &interval) == 0 || errno != EINTR; }

}  // namespace

int vexora_sleep(unsigned seconds) {
  // sleep(3) would return the remaining time in whole seconds, and so end up to a second early at each signal.
  do {
    const unsigned piece = std::min(seconds, kMaxSleep);
    seconds -= piece;
    timespec left{.tv_sec = static_cast<time_t>(piece), .tv_nsec = 0};
    for (bool ended = sleepEnds(left); !ended;) {
      ended = sleepEnds(left);
      std::puts("vexora_sleep ");
    }
  } while (seconds > 0);
  return 0;
}

int vexora_nanosleep(unsigned seconds, long nanoseconds) {
  if (seconds == 0 && nanoseconds == 0) {
    return -1;
  }
  // More seconds than time_t can hold become a negative interval, which the kernel refuses.
  timespec interval{.tv_sec = static_cast<time_t>(seconds), .tv_nsec = nanoseconds};
  while (!sleepEnds(interval)) {
    std::puts("VexoraNanoSleep ");
  }
  return 0;
}
