/* SPDX-License-Identifier: Apache-2.0 */
/* board_events list
 * board_events subscribe URL TYPE[,TYPE...] CONTEXT [TOKEN]
 * board_events push TYPE SEVERITY MESSAGE_ID MESSAGE ORIGIN
 *
 * An event service: keeps the subscriptions in their file, pushes an event as a JSON document to every subscriber of
 * the event's type, and prints what each one answered. */
#define _POSIX_C_SOURCE 200809L

#include <netdb.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include "vexora/config.h"

static const char kPath[] = "/conf/eventsubscriptions.conf";
static const char kIdentity[] = "sample-board";

enum {
  kTypes = 5,
  kNoType = -1,
  kDocumentRoom = 56 * 1024, /* enough for any event */
  kMaxValue = 110,           /* the loader cuts lines; this fits after the longest key */
  kPatienceSeconds = 60,
};

/* The bits of a subscription's type; each board defines its own. */
static const char *const kTypeNames[kTypes] = {"StatusChange", "ResourceUpdated", "ResourceAdded", "ResourceRemoved",
                                               "Alert"};

static int complain(const char *what, const char *why) {
  (void)fprintf(stderr, "board_events: %s: %s\n", what, why);
  return EXIT_FAILURE;
}

static int findType(const char *name) {
  for (int type = 0; type < kTypes; ++type) {
    if (strcmp(kTypeNames[type], name) == 0) {
      return type;
    }
  }
  return kNoType;
}

static bool wants(const EventSubScriptionRecord *slot, int type) {
  return slot->present != 0 && (slot->type >> type & 1) != 0;
}

/* A missing file is no failure: nobody has subscribed yet. */
static bool load(void) {
  return access(kPath, F_OK) != 0 ||
         GetEventSubScriptionFromConfFile(&blEventSubScriptionsFlag, stEventSubScriptionStore) == 0;
}

static int list(void) {
  for (int i = 0; i < VEXORA_EVENT_SUBSCRIPTIONS; ++i) {
    const EventSubScriptionRecord *slot = &stEventSubScriptionStore[i];
    if (slot->present == 0) {
      continue;
    }
    (void)printf("%d: %s, context %s, types", i, slot->destaddr, slot->context == NULL ? "none" : slot->context);
    for (int type = 0; type < kTypes; ++type) {
      if (wants(slot, type)) {
        (void)printf(" %s", kTypeNames[type]);
      }
    }
    (void)puts("");
  }
  return EXIT_SUCCESS;
}

/* Returns whether the file can represent a text: it has no escapes, and the loader cuts long lines. */
static bool isStorable(const char *value) {
  return strlen(value) <= kMaxValue && value[strcspn(value, ";#\r\n")] == '\0' && value[0] != '"' && value[0] != '\'';
}

/* Returns the bits of a list of type names, or 0 when one is unknown. strtok_r writes to `names`. */
static uint8_t typeBits(char *names) {
  unsigned bits = 0;
  char *rest = NULL;
  for (const char *name = strtok_r(names, ",", &rest); name != NULL; name = strtok_r(NULL, ",", &rest)) {
    const int type = findType(name);
    if (type == kNoType) {
      return 0;
    }
    bits |= 1U << type;
  }
  return (uint8_t)bits;
}

static int subscribe(const char *url, char *types, const char *context, const char *token) {
  const uint8_t bits = typeBits(types);
  if (bits == 0) {
    return complain(types, "no such event type");
  }
  if (!isStorable(url) || !isStorable(context) || (token != NULL && !isStorable(token))) {
    return complain(url, "the file cannot hold such a text");
  }
  int i = 0;
  while (i < VEXORA_EVENT_SUBSCRIPTIONS && stEventSubScriptionStore[i].present != 0) {
    ++i;
  }
  if (i == VEXORA_EVENT_SUBSCRIPTIONS) {
    return complain(url, "all places are taken");
  }
  /* A free slot may own strings: a load fills it with empty ones. */
  (void)dwEventSubScriptionStoreMemFree(i, i + 1, 9, stEventSubScriptionStore);
  stEventSubScriptionStore[i] = (EventSubScriptionRecord){
      .present = 1,
      .type = bits,
      .destaddr = strdup(url),
      .context = strdup(context),
      .protocal = strdup("Redfish"),
      .hcontent = strdup("application/json"),
      .hxauth = token == NULL ? NULL : strdup(token),
  };
  if (SetEventSubScription2ConfFile(0, stEventSubScriptionStore) != 0) {
    return complain(kPath, "cannot be written");
  }
  (void)printf("%d: %s\n", i, url);
  return EXIT_SUCCESS;
}

static FILE *connectTo(const char *host, const char *port) {
  const struct addrinfo hints = {.ai_socktype = SOCK_STREAM};
  const struct timeval patience = {.tv_sec = kPatienceSeconds};
  struct addrinfo *found = NULL;
  if (getaddrinfo(host, port, &hints, &found) != 0) {
    return NULL;
  }
  FILE *connection = NULL;
  for (const struct addrinfo *at = found; at != NULL && connection == NULL; at = at->ai_next) {
    const int fd = socket(at->ai_family, at->ai_socktype | SOCK_CLOEXEC, at->ai_protocol);
    if (fd < 0) {
      continue;
    }
    (void)setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    (void)setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    connection = connect(fd, at->ai_addr, at->ai_addrlen) == 0 ? fdopen(fd, "r+") : NULL;
    if (connection == NULL) {
      (void)close(fd);
    }
  }
  freeaddrinfo(found);
  return connection;
}

static void writeHeader(FILE *connection, const char *name, const char *value) {
  if (value != NULL && value[0] != '\0') {
    (void)fprintf(connection, "%s: %s\r\n", name, value);
  }
}

/* Returns the subscriber's HTTP status, or 0 when there is none. */
static long post(const EventSubScriptionRecord *slot, const char *document) {
  char host[64];
  char port[6];
  char path[128] = "/";
  if (slot->destaddr == NULL || sscanf(slot->destaddr, "http://%63[^:/]:%5[0-9]%127s", host, port, path) < 2) {
    return 0;
  }
  FILE *connection = connectTo(host, port);
  if (connection == NULL) {
    return 0;
  }
  (void)fprintf(connection, "POST %s HTTP/1.1\r\nHost: %s:%s\r\nConnection: close\r\nContent-Length: %zu\r\n", path,
                host, port, strlen(document));
  writeHeader(connection, "Content-Type", slot->hcontent);
  writeHeader(connection, "OData-Version", slot->hdataver);
  writeHeader(connection, "X-Auth-Token", slot->hxauth);
  (void)fprintf(connection, "\r\n%s", document);
  static const char kVersion[] = "HTTP/1.1 ";
  char line[64] = "";
  const bool isAnswered =
      fflush(connection) == 0 && fgets(line, sizeof line, connection) != NULL && strncmp(line, "HTTP/1.", 7) == 0;
  (void)fclose(connection);
  return isAnswered ? strtol(line + sizeof kVersion - 1, NULL, 10) : 0;
}

static int push(int type, char **arguments) {
  static char document[kDocumentRoom];
  char now[sizeof "2026-03-02T00:00:00Z"];
  char number[24];
  const time_t seconds = time(NULL);
  struct tm parts;
  if (gmtime_r(&seconds, &parts) == NULL || strftime(now, sizeof now, "%FT%TZ", &parts) == 0) {
    return complain("push", "no time of day");
  }
  (void)snprintf(number, sizeof number, "%lld", (long long)seconds);

  EventArray event;
  EventArrayMemInit(&event);
  event.id = number;
  event.eventId = number;
  event.eventTimestamp = now;
  event.eventType = arguments[0];
  event.severity = arguments[1];
  event.messageId = arguments[2];
  event.message = arguments[3];
  event.originOfCondition[0] = arguments[4];

  int failures = 0;
  for (int i = 0; i < VEXORA_EVENT_SUBSCRIPTIONS; ++i) {
    const EventSubScriptionRecord *slot = &stEventSubScriptionStore[i];
    if (!wants(slot, type)) {
      continue;
    }
    event.context = slot->context;
    getJsonData(document, event, kIdentity);
    const long status = post(slot, document);
    (void)printf("%d: HTTP status %ld\n", i, status);
    failures += status < 200 || status > 299;
  }
  return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

int main(int argc, char **argv) {
  (void)signal(SIGPIPE, SIG_IGN); /* a subscriber may hang up */
  if (!load()) {
    return complain(kPath, "cannot be loaded");
  }
  if (argc == 2 && strcmp(argv[1], "list") == 0) {
    return list();
  }
  if ((argc == 5 || argc == 6) && strcmp(argv[1], "subscribe") == 0) {
    return subscribe(argv[2], argv[3], argv[4], argv[5]);
  }
  if (argc == 7 && strcmp(argv[1], "push") == 0) {
    const int type = findType(argv[2]);
    return type == kNoType ? complain(argv[2], "no such event type") : push(type, argv + 2);
  }
  return complain("usage",
                  "list | subscribe URL TYPE,... CONTEXT [TOKEN] | push TYPE SEVERITY MESSAGE_ID MESSAGE ORIGIN");
}
