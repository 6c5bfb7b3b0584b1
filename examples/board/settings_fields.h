/* SPDX-License-Identifier: Apache-2.0 */
/* The three settings stores as data: their fields by the names that the files give them, so that one command serves
 * them all. */
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
  const char *(*check)(const char *value); /* NULL: any value will do */
  const char **words;                      /* a word's, which is stored as its number, or all texts that will do */
  int wordCount;
  unsigned offset;
  unsigned size; /* a number's bytes, or a text's room with its terminator */
  enum FieldKind kind;
};

struct Store {
  const char *name;
  const struct Field *fields; /* up to one without a name, as in the next */
  const struct Field *destFields;
  unsigned destSize;
  int (*load)(struct Settings *settings);
  int (*save)(const struct Settings *settings);
};

/* NULL when there is none. */
const struct Store *findStore(const char *name);

/* Finds a field by its name, "SmtpPort", or with a destination in front, "dest1.Enabled" to "dest4.Enabled". Its bytes
 * are in `settings`. NULL when there is none. */
const struct Field *findField(const struct Store *store, struct Settings *settings, const char *name, uint8_t **bytes);

/* Room for any field's value as text. */
enum { kValueRoom = 72 };

void formatValue(const struct Field *field, const uint8_t *bytes, char text[kValueRoom]);

/* Puts a value into a field; an empty text clears one. Returns NULL, or why the value is refused, valid until the next
 * call and with the field untouched. */
const char *assignValue(const struct Field *field, uint8_t *bytes, const char *value);

#endif
