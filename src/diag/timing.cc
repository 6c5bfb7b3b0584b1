// SPDX-License-Identifier: Apache-2.0
//
// Sleeps that signals interrupt but don't shorten. The marker lines tell an engineer at the console
// that a daemon is being signalled while it sleeps; their trailing blanks are part of them.

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

#include "vexora/diag.h"

int vexora_sleep(unsigned seconds) {
  unsigned left = sleep(seconds);
  while (left != 0) {
    left = sleep(left);
    std::puts("vexora_sleep ");
  }
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
  while (nanosleep(&interval, &interval) == -1 && errno == EINTR) {
    std::puts("VexoraNanoSleep ");
  }
  return 0;
}
