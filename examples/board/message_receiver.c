/* SPDX-License-Identifier: Apache-2.0 */
/* message_receiver DAEMON COUNT
 * message_receiver component COUNT KIND INSTANCE
 *
 * Plays a daemon that receives requests: creates its queue or pipe, prints "ready", receives COUNT records and ends.
 * Each record is printed twice: its fields, then all its bytes, where "00*12" means twelve zeros in a row. */
#define _POSIX_C_SOURCE 200809L

#include <inttypes.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "vexora/ipc.h"

enum {
  kPatienceSeconds = 60, /* for one record; emulated senders on a busy machine are slow */
  kMaxFields = 5,
  kMinRun = 4, /* shorter runs of equal bytes are printed in full */
};

enum Kind { kNumber, kTime, kBytes };

/* A part of a record. Numbers are little-endian and have at most 4 bytes. */
struct Field {
  const char *name;
  unsigned offset;
  unsigned size;
  enum Kind kind;
};

/* A receiving daemon: it has a pipe if its queueKey is 0. */
struct Daemon {
  const char *name;
  const char *pipe;
  int queueKey;
  unsigned size; /* of a record */
  struct Field fields[kMaxFields];
};

static const struct Daemon kDaemons[] = {
    {.name = "mca", .queueKey = 12347, .size = 260, .fields = {{"head", 0, 4, kNumber}, {"request", 4, 256, kBytes}}},
    {.name = "idl",
     .queueKey = 12345,
     .size = 260,
     .fields = {{"log type", 4, 1, kNumber}, {"time", 12, 4, kTime}, {"record", 4, 220, kBytes}}},
    {.name = "ipmimain",
     .pipe = "/var/vexora_ipmimain_pipe",
     .size = 12,
     .fields = {{"SEL request", 2, 10, kBytes},
                {"event data", 8, 1, kNumber},
                {"second", 10, 1, kNumber},
                {"third", 11, 1, kNumber}}},
    {.name = "onekeylog", .pipe = "/var/vexora_okl_pipe", .size = 260, .fields = {{"request", 0, 1, kNumber}}},
    {.name = "mupr", .pipe = "/var/tmp/ipmi_mupr_cmu_pipe", .size = VEXORA_PIPE_RECORD_MAX},
    {.name = "component",
     .size = 524,
     .fields = {{"command", 0, 2, kNumber},
                {"instance", 2, 1, kNumber},
                {"response flag", 4, 4, kNumber},
                {"length", 8, 4, kNumber},
                {"data", 12, VEXORA_COMPONENT_DATA_MAX, kBytes}}},
    {.name = "raid",
     .pipe = "/var/raid_replace_moni_cmd_pipe",
     .size = 2,
     .fields = {{"first", 0, 1, kNumber}, {"second", 1, 1, kNumber}}},
};

static uint32_t loadLittle(const uint8_t *bytes, unsigned size) {
  uint32_t value = 0;
  while (size > 0) {
    value = value << 8 | bytes[--size];
  }
  return value;
}

static void printTime(uint32_t seconds) {
  const time_t time = (time_t)seconds;
  struct tm parts;
  char text[32] = "";
  if (gmtime_r(&time, &parts) != NULL) {
    (void)strftime(text, sizeof text, "%F %T", &parts);
  }
  (void)printf(" %s", text);
}

static void printBytes(const uint8_t *bytes, unsigned size) {
  unsigned at = 0;
  while (at < size) {
    unsigned run = 1;
    while (at + run < size && bytes[at + run] == bytes[at]) {
      ++run;
    }
    (void)printf(" %02x", bytes[at]);
    if (run >= kMinRun) {
      (void)printf("*%u", run);
      at += run;
    } else {
      ++at;
    }
  }
}

static void printField(const struct Field *field, const uint8_t *record) {
  const uint8_t *bytes = record + field->offset;
  (void)printf(", %s", field->name);
  switch (field->kind) {
    case kNumber:
      (void)printf(" %" PRIu32, loadLittle(bytes, field->size));
      break;
    case kTime:
      printTime(loadLittle(bytes, field->size));
      break;
    case kBytes:
      printBytes(bytes, field->size);
      break;
  }
}

static void printRecord(const struct Daemon *daemon, const uint8_t *record, unsigned length) {
  (void)printf("%u bytes", length);
  for (int i = 0; i < kMaxFields && daemon->fields[i].name != NULL; ++i) {
    printField(&daemon->fields[i], record);
  }
  (void)printf("\n ");
  printBytes(record, length);
  (void)printf("\n");
}

/* Returns the queue or the pipe's descriptor, or -1 on failure. */
static int openChannel(const struct Daemon *daemon) {
  if (daemon->queueKey != 0) {
    return VexoraCreateMsgQueue(daemon->queueKey);
  }
  return vexora_create_pipe(daemon->pipe) == 0 ? vexora_openpipe(daemon->pipe) : -1;
}

/* Returns the number of bytes received, or -1 on failure or when a pipe has none for kPatienceSeconds. */
static int receive(const struct Daemon *daemon, int channel, uint8_t *record) {
  if (daemon->queueKey != 0) {
    /* The read has no time-out: the alarm ends the program. */
    (void)alarm(kPatienceSeconds);
    return VexoraReadMsgQueue(channel, record, daemon->size) == 0 ? (int)daemon->size : -1;
  }
  return vexora_select_readpipe(channel, record, daemon->size, kPatienceSeconds * 1000);
}

static bool receiveAll(const struct Daemon *daemon, long count) {
  const int channel = openChannel(daemon);
  if (channel == -1) {
    return false;
  }
  (void)printf("ready\n");
  while (count > 0) {
    uint8_t record[VEXORA_PIPE_RECORD_MAX];
    const int length = receive(daemon, channel, record);
    if (length < 0) {
      (void)fprintf(stderr, "message_receiver %s: %ld records missing\n", daemon->name, count);
      break;
    }
    printRecord(daemon, record, (unsigned)length);
    --count;
  }
  if (daemon->queueKey == 0) {
    (void)vexora_closepipe(channel);
  }
  return count == 0;
}

static const struct Daemon *findDaemon(const char *name) {
  for (size_t i = 0; i < sizeof kDaemons / sizeof kDaemons[0]; ++i) {
    if (strcmp(kDaemons[i].name, name) == 0) {
      return &kDaemons[i];
    }
  }
  return NULL;
}

int main(int argc, char **argv) {
  const struct Daemon *const known = argc > 2 ? findDaemon(argv[1]) : NULL;
  const bool isComponent = known != NULL && known->queueKey == 0 && known->pipe == NULL;
  if (known == NULL || argc != (isComponent ? 5 : 3)) {
    (void)fprintf(stderr,
                  "usage: message_receiver mca|idl|ipmimain|onekeylog|mupr|raid COUNT\n"
                  "       message_receiver component COUNT KIND INSTANCE\n");
    return EXIT_FAILURE;
  }
  struct Daemon daemon = *known;
  char pipe[64];
  if (isComponent) {
    (void)snprintf(pipe, sizeof pipe, "/var/compmonreq%02lx%02lx", strtoul(argv[3], NULL, 0),
                   strtoul(argv[4], NULL, 0));
    daemon.pipe = pipe;
  }
  /* The parent waits for the first line. */
  (void)setvbuf(stdout, NULL, _IOLBF, 0);
  return receiveAll(&daemon, strtol(argv[2], NULL, 10)) ? EXIT_SUCCESS : EXIT_FAILURE;
}
