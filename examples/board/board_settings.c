/* SPDX-License-Identifier: Apache-2.0 */
/* board_settings show STORE [FIELD]
 * board_settings set STORE FIELD VALUE
 *
 * Shows and changes the settings files of e-mail alerts (STORE smtp), SNMP traps (trap) and the SNMP agent (agent). A
 * FIELD is named as in the file, after a destination's number if it has one: dest1.Enabled. A VALUE of "-" is read from
 * standard input, since every user can see a process's arguments. A secret is shown only when its field is named.
 *
 * Nothing locks the files: on a board only one daemon may do what this program does. */
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "settings_fields.h"

enum { kRefused = 1, kMisused = 2 };

static int complain(const char *what, const char *why) {
  (void)fprintf(stderr, "board_settings: %s: %s\n", what, why);
  return kRefused;
}

static void printFields(const struct Field *field, const uint8_t *record, const char *prefix) {
  for (; field->name != NULL; ++field) {
    char value[kValueRoom];
    formatValue(field, record + field->offset, value);
    const bool isHidden = field->kind == kSecret && value[0] != '\0';
    (void)printf("%s%s=%s\n", prefix, field->name, isHidden ? "(secret)" : value);
  }
}

static bool isUnused(const uint8_t *bytes, size_t size) {
  while (size > 0 && bytes[size - 1] == 0) {
    --size;
  }
  return size == 0;
}

static void showAll(const struct Store *store, const struct Settings *settings) {
  printFields(store->fields, (const uint8_t *)&settings->record, "");
  for (unsigned i = 0; i < VEXORA_ALERT_DESTINATIONS; ++i) {
    const uint8_t *destination = (const uint8_t *)&settings->dests + i * store->destSize;
    if (!isUnused(destination, store->destSize)) {
      char prefix[16];
      (void)snprintf(prefix, sizeof prefix, "dest%u.", i + 1);
      printFields(store->destFields, destination, prefix);
    }
  }
}

static int show(const struct Store *store, struct Settings *settings, const char *name) {
  if (name == NULL) {
    showAll(store, settings);
    return 0;
  }
  uint8_t *bytes = NULL;
  const struct Field *field = findField(store, settings, name, &bytes);
  if (field == NULL) {
    return complain(name, "no such field");
  }
  char value[kValueRoom];
  formatValue(field, bytes, value);
  (void)puts(value);
  return 0;
}

/* A save doesn't report that it could not write its file, so the file is compared. */
static bool isSaved(const struct Store *store, const struct Settings *settings) {
  struct Settings saved = {0};
  return store->save(settings) == 0 && store->load(&saved) == 0 &&
         memcmp((const uint8_t *)&saved, (const uint8_t *)settings, sizeof saved) == 0;
}

static int set(const struct Store *store, struct Settings *settings, const char *name, const char *value) {
  char line[kValueRoom + 1] = ""; /* a line that fills it is too long for any field */
  if (strcmp(value, "-") == 0) {
    if (fgets(line, sizeof line, stdin) == NULL) {
      return complain(name, "no value on standard input");
    }
    line[strcspn(line, "\n")] = '\0';
    value = line;
  }
  uint8_t *bytes = NULL;
  const struct Field *field = findField(store, settings, name, &bytes);
  if (field == NULL) {
    return complain(name, "no such field");
  }
  const char *refusal = assignValue(field, bytes, value);
  if (refusal != NULL) {
    return complain(name, refusal);
  }
  return isSaved(store, settings) ? 0 : complain(store->name, "the settings could not be saved");
}

int main(int argc, char **argv) {
  const bool isShow = (argc == 3 || argc == 4) && strcmp(argv[1], "show") == 0;
  const bool isSet = argc == 5 && strcmp(argv[1], "set") == 0;
  const struct Store *store = isShow || isSet ? findStore(argv[2]) : NULL;
  if (store == NULL) {
    (void)fputs(
        "usage: board_settings show smtp|trap|agent [FIELD]\n"
        "       board_settings set smtp|trap|agent FIELD VALUE|-\n",
        stderr);
    return kMisused;
  }
  (void)setvbuf(stdout, NULL, _IOLBF, 0); /* the library's messages come before ours */
  struct Settings settings = {0};
  if (store->load(&settings) != 0) {
    return complain(store->name, "the settings could not be loaded");
  }
  return isShow ? show(store, &settings, argv[3]) : set(store, &settings, argv[3], argv[4]);
}
