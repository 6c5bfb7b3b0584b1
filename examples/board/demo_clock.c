/* SPDX-License-Identifier: Apache-2.0 */
/* A simulated clock, preloaded into a daemon of one thread. Time advances only inside select(): when no descriptor is
 * ready, it jumps to the end of the time-out. So days pass within a second, the same way in every run.
 *
 * The clock stops at a given moment; from then on select() really waits. Moments are lines of seconds since the epoch
 * on the FIFO "/var/demo_clock/until"; the first is the time at which the process starts. When the daemon waits beyond
 * the moment, the clock writes its time to "/var/demo_clock/arrived". */
#define _GNU_SOURCE

#include <fcntl.h>
#include <inttypes.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/select.h>
#include <time.h>
#include <unistd.h>

static const int64_t kMicrosecondsPerSecond = 1000000;

static int64_t now;   /* microseconds since the epoch */
static int64_t until; /* the moment at which `now` stops */
static bool hasArrived;
static int untilFifo = -1;
static int arrivedFifo = -1;

static void readUntil(void) {
  char line[32] = "";
  if (read(untilFifo, line, sizeof line - 1) > 0) {
    until = strtoll(line, NULL, 10) * kMicrosecondsPerSecond;
    hasArrived = false;
  }
}

__attribute__((constructor)) static void startClock(void) {
  /* A FIFO that is open for reading and writing blocks no open() and never reports end of file. */
  untilFifo = open("/var/demo_clock/until", O_RDWR | O_CLOEXEC);
  arrivedFifo = open("/var/demo_clock/arrived", O_RDWR | O_CLOEXEC);
  if (untilFifo < 0 || arrivedFifo < 0) {
    perror("/var/demo_clock");
    abort();
  }
  readUntil();
  now = until;
}

static void rest(void) {
  if (now < until) {
    now = until;
  }
  if (!hasArrived) {
    hasArrived = true;
    (void)dprintf(arrivedFifo, "%" PRId64 "\n", now / kMicrosecondsPerSecond);
  }
}

static fd_set *copySet(fd_set *copy, const fd_set *set) {
  if (set == NULL) {
    return NULL;
  }
  *copy = *set;
  return copy;
}

static void returnSet(fd_set *set, const fd_set *result) {
  if (set != NULL) {
    *set = *result;
  }
}

static void returnTimeout(struct timeval *timeout, int64_t left) {
  if (timeout != NULL) {
    timeout->tv_sec = (time_t)(left / kMicrosecondsPerSecond);
    timeout->tv_usec = (suseconds_t)(left % kMicrosecondsPerSecond);
  }
}

int select(int nfds, fd_set *restrict readfds, fd_set *restrict writefds, fd_set *restrict exceptfds,
           struct timeval *restrict timeout) {
  static const struct timespec kNoWait = {0};
  const int64_t deadline =
      timeout == NULL ? INT64_MAX : now + timeout->tv_sec * kMicrosecondsPerSecond + timeout->tv_usec;
  for (;;) {
    const bool resting = deadline > until;
    fd_set readable;
    fd_set writable;
    fd_set exceptional;
    FD_ZERO(&readable);
    (void)copySet(&readable, readfds);
    if (resting) {
      rest();
      FD_SET(untilFifo, &readable);
    }
    /* The C library's select() is hidden by ours; its pselect() is not. */
    int ready = pselect(nfds > untilFifo ? nfds : untilFifo + 1, &readable, copySet(&writable, writefds),
                        copySet(&exceptional, exceptfds), resting ? NULL : &kNoWait, NULL);
    if (ready > 0 && resting && FD_ISSET(untilFifo, &readable)) {
      readUntil();
      FD_CLR(untilFifo, &readable);
      if (--ready == 0) {
        continue;
      }
    }
    if (ready == 0) {
      now = deadline;
    }
    returnTimeout(timeout, deadline - now);
    if (ready >= 0) {
      returnSet(readfds, &readable);
      returnSet(writefds, &writable);
      returnSet(exceptfds, &exceptional);
    }
    return ready;
  }
}

time_t time(time_t *timer) {
  const time_t seconds = (time_t)(now / kMicrosecondsPerSecond);
  if (timer != NULL) {
    *timer = seconds;
  }
  return seconds;
}

int clock_gettime(clockid_t clock_id, struct timespec *tp) {
  (void)clock_id;
  tp->tv_sec = (time_t)(now / kMicrosecondsPerSecond);
  tp->tv_nsec = (long)(now % kMicrosecondsPerSecond * 1000);
  return 0;
}
