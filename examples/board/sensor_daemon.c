/* SPDX-License-Identifier: Apache-2.0 */
/* sensor_daemon [SECONDS [SOCKET]]
 *
 * Samples the board's sensors into the history every SECONDS, and answers history commands. A command is a datagram on
 * a Unix socket; the answer goes to its sender's address. So there is no connection to keep, no client can block the
 * daemon, and the datagram's length is the request's.
 *
 * One thread waits on the socket and on a pipe that the signal handler writes to, until the next sample is due. So
 * samples, commands and the stop never overlap. The daemon runs in the foreground until SIGTERM or SIGINT; a service
 * manager starts and restarts it. */
#define _GNU_SOURCE

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "vexora/diag.h"
#include "vexora/history.h"

static const char kModule[] = "ZELMONITOR";
static const int64_t kMillisecondsPerSecond = 1000;

enum { kInfo = 0, kWarning = 1, kError = 2 }; /* levels of the debug log */

enum {
  kRequestRoom = 16, /* more than any valid request, so that an overlong one is not cut to a valid length */
  kAnswerRoom = 5 + 8760 * (int)sizeof(vexora_history_record), /* header and a full year of records */
};

static int stopPipe[2];

static void requestStop(int signalNumber) {
  (void)signalNumber;
  const int savedErrno = errno;
  /* When the pipe is full, a stop has been requested already. */
  const ssize_t ignored = write(stopPipe[1], "", 1);
  (void)ignored;
  errno = savedErrno;
}

static bool catchStopSignals(void) {
  struct sigaction action = {.sa_handler = requestStop, .sa_flags = SA_RESTART};
  return pipe2(stopPipe, O_CLOEXEC | O_NONBLOCK) == 0 && sigemptyset(&action.sa_mask) == 0 &&
         sigaction(SIGTERM, &action, NULL) == 0 && sigaction(SIGINT, &action, NULL) == 0;
}

/* Returns the descriptor, or -1 with errno set. */
static int openSocket(const char *path) {
  struct sockaddr_un address = {.sun_family = AF_UNIX};
  if (strlen(path) >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return -1;
  }
  memcpy(address.sun_path, path, strlen(path));
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) {
    return -1;
  }
  /* A datagram has to fit into the send buffer. The kernel caps the size and then doubles it: under the usual limits a
   * year of records fits. */
  const int room = kAnswerRoom;
  (void)unlink(path); /* a killed daemon leaves its socket */
  if (setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &room, sizeof room) != 0 ||
      bind(fd, (const struct sockaddr *)&address, sizeof address) != 0 || chmod(path, S_IRUSR | S_IWUSR) != 0) {
    const int error = errno;
    (void)vexora_close(fd);
    errno = error;
    return -1;
  }
  return fd;
}

static void answerCommand(int socketFd) {
  static uint8_t answer[kAnswerRoom]; /* too large for a small stack; only one thread uses it */
  uint8_t request[kRequestRoom];
  struct sockaddr_un client;
  socklen_t clientLength = sizeof client;
  const ssize_t received = recvfrom(socketFd, request, sizeof request, 0, (struct sockaddr *)&client, &clientLength);
  if (received < 0) {
    return; /* the kernel may have dropped the datagram after select() */
  }
  const int length = VexoraHistoryRecordDataOper(request, (uint32_t)received, answer);
  VexoraDebug(kInfo, kModule, "command of %zd bytes: completion code 0x%02X, answer of %d bytes", received, answer[0],
              length);
  if (sendto(socketFd, answer, (size_t)length, MSG_NOSIGNAL, (const struct sockaddr *)&client, clientLength) < 0) {
    VexoraDebug(kWarning, kModule, "answer not sent: error %d", errno);
  }
}

/* Returns the time of the newest record, or 0 when there is none. */
static uint32_t newestRecord(vexora_history_record *record) {
  return vexora_ringlist_get_tail(HistoryDataRing, record) == 0 ? record->query_time : 0;
}

/* A sample that is older than the newest record would remove the data file. A board without a battery-backed clock
 * starts in 1970, so sampling waits until the clock is set. */
static bool isClockRight(uint32_t newest) {
  static bool wasRight = true;
  const bool isRight = (uint32_t)time(NULL) >= newest; /* compared as the recorder does */
  if (isRight != wasRight) {
    VexoraDebug(kWarning, kModule, "%s: the clock is %s the newest record", isRight ? "samples again" : "no samples",
                isRight ? "past" : "earlier than");
  }
  wasRight = isRight;
  return isRight;
}

static void takeSample(void) {
  vexora_history_record record;
  const uint32_t before = newestRecord(&record);
  if (!isClockRight(before)) {
    return;
  }
  if (historyDataRecord() != 0) {
    VexoraDebug(kError, kModule, "the hour could not be stored");
  } else if (newestRecord(&record) != before) {
    VexoraDebug(kInfo, kModule, "hour %02u stored: 0x3009 %u (%u to %u), 0x7000 %u (%u to %u)", record.hour,
                record.sensor_3009.average, record.sensor_3009.minimum, record.sensor_3009.maximum,
                record.sensor_7000.average, record.sensor_7000.minimum, record.sensor_7000.maximum);
  }
}

/* In milliseconds. CLOCK_MONOTONIC keeps the sampling period when the date is set. */
static int64_t monotonicNow(void) {
  struct timespec now;
  (void)clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * kMillisecondsPerSecond + now.tv_nsec / 1000000;
}

/* Returns true after a request to stop, false when waiting fails. */
static bool serve(int socketFd, int64_t period) {
  const int descriptors = (socketFd > stopPipe[0] ? socketFd : stopPipe[0]) + 1;
  int64_t due = monotonicNow();
  for (;;) {
    int64_t now = monotonicNow();
    if (now >= due) {
      takeSample();
      due += period;
      now = monotonicNow();
      if (due <= now) {
        due = now + period; /* missed samples are not taken later */
      }
    }
    struct timeval timeout = {.tv_sec = (time_t)((due - now) / kMillisecondsPerSecond),
                              .tv_usec = (suseconds_t)((due - now) % kMillisecondsPerSecond * 1000)};
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(socketFd, &readable);
    FD_SET(stopPipe[0], &readable);
    if (vexora_select(descriptors, &readable, NULL, NULL, &timeout) < 0) {
      return false;
    }
    if (FD_ISSET(stopPipe[0], &readable)) {
      return true;
    }
    if (FD_ISSET(socketFd, &readable)) {
      answerCommand(socketFd);
    }
  }
}

int main(int argc, char **argv) {
  const long period = argc > 1 ? strtol(argv[1], NULL, 10) : 60;
  const char *path = argc > 2 ? argv[2] : "/var/sensor_daemon.sock";
  if (period < 1 || period > 3600) {
    (void)fprintf(stderr, "usage: sensor_daemon [SECONDS, 1 to 3600 [SOCKET]]\n");
    return EXIT_FAILURE;
  }

  /* The debug log goes to standard output, where each line must be visible immediately. */
  (void)setvbuf(stdout, NULL, _IOLBF, 0);
  /* Before catchStopSignals: VexoraInitSignals installs a handler of SIGTERM too, which only prints. */
  if (VexoraInitSignals(kModule, sizeof kModule - 1) != 0 || !catchStopSignals() || historyDataInit() != 0) {
    (void)fprintf(stderr, "sensor_daemon: start failed\n");
    return EXIT_FAILURE;
  }
  const int socketFd = openSocket(path);
  if (socketFd < 0) {
    perror(path);
    return EXIT_FAILURE;
  }
  VexoraDebug(kInfo, kModule, "started: a sample every %ld seconds, commands on %s", period, path);
  const bool stopped = serve(socketFd, period * kMillisecondsPerSecond);
  VexoraDebug(kInfo, kModule, "stopped");
  (void)unlink(path);
  (void)vexora_close(socketFd);
  return stopped ? EXIT_SUCCESS : EXIT_FAILURE;
}
