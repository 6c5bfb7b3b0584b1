/* SPDX-License-Identifier: Apache-2.0 */
/* The three settings stores as tables of fields, named as in the files, so that one command serves all three. */
#ifndef BOARD_SETTINGS_FIELDS_H
#define BOARD_SETTINGS_FIELDS_H

#include <stdint.h>

#include "vexora/config.h"

/* A store's records. The agent has no destinations. */
struct Settings {
  union {
    SmtpCfgRecord smtp;
    SnmpTrapCfgRecord trap;
    SnmpAgentCfgRecord agent;
  } record;
  union {
    SmtpDestCfgRecord smtp[VEXORA_ALERT_DESTINATIONS];
    SnmpTrapDestCfgRecord trap[VEXORA_ALERT_DESTINATIONS];
  } dests;
};

enum FieldKind { kNumber, kWord, kText, kSecret };

struct Field {
  const char *name;
  const char *(*check)(const char *value); /* NULL: any value is accepted */
  const char **words;                      /* accepted texts; a word is stored as its number */
  int wordCount;
  unsigned offset;
  unsigned size; /* in bytes; a text's terminator included */
  enum FieldKind kind;
};

struct Store {
  const char *name;
  const struct Field *fields; /* both tables end with a field without a name */
  const struct Field *destFields;
  unsigned destSize;
  int (*load)(struct Settings *settings);
  int (*save)(const struct Settings *settings);
};

/* Returns NULL when there is none. */
const struct Store *findStore(const char *name);

/* Finds a field by its name, "SmtpPort", or a destination's, "dest1.Enabled" to "dest4.Enabled". Sets `bytes` to its
 * place in `settings`. Returns NULL when there is none. */
const struct Field *findField(const struct Store *store, struct Settings *settings, const char *name, uint8_t **bytes);

/* Capacity for any field's value as text, the terminator included. */
enum { kValueRoom = 72 };

void formatValue(const struct Field *field, const uint8_t *bytes, char text[kValueRoom]);

/* Assigns a value to a field; an empty text clears a text. Returns NULL, or the reason of a refusal, which is valid
 * until the next call; the field is then untouched. */
const char *assignValue(const struct Field *field, uint8_t *bytes, const char *value);

#endif
