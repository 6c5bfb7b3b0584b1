/* SPDX-License-Identifier: Apache-2.0 */
#include "settings_fields.h"

#include <inttypes.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "settings_checks.h"
#include "vexora/text.h"

#define FIELD(record, member, ...) \
  { .name = #member, .offset = offsetof(record, member), .size = sizeof(((record *)NULL)->member), .kind = __VA_ARGS__ }
#define WORDS(table) .words = (table), .wordCount = sizeof(table) / sizeof *(table)

static const struct Field kSmtpFields[] = {
    FIELD(SmtpCfgRecord, SmtpEnable, kWord, WORDS(EnableStr)),
    FIELD(SmtpCfgRecord, ServerAddr, kText, .check = checkServer),
    FIELD(SmtpCfgRecord, SmtpPort, kNumber, .check = checkPort),
    FIELD(SmtpCfgRecord, SmtpSecurePort, kNumber, .check = checkPort),
    FIELD(SmtpCfgRecord, EnableSTARTTLS, kWord, WORDS(EnableStr)),
    FIELD(SmtpCfgRecord, EnableSSLTLS, kWord, WORDS(EnableStr)),
    FIELD(SmtpCfgRecord, SMTPAUTH, kWord, WORDS(EnableStr)),
    FIELD(SmtpCfgRecord, UserName, kText, .check = checkMailUser),
    FIELD(SmtpCfgRecord, PassWord, kSecret),
    FIELD(SmtpCfgRecord, SenderAddr, kText, .check = checkSenderAddress),
    FIELD(SmtpCfgRecord, Subject, kText, .check = checkLine),
    FIELD(SmtpCfgRecord, HostName, kWord, WORDS(EnableStr)),
    FIELD(SmtpCfgRecord, SerialNumber, kWord, WORDS(EnableStr)),
    FIELD(SmtpCfgRecord, AssetTag, kWord, WORDS(EnableStr)),
    FIELD(SmtpCfgRecord, EventLevel, kWord, WORDS(EventLevelStr)),
    {.name = NULL},
};

static const struct Field kSmtpDestFields[] = {
    FIELD(SmtpDestCfgRecord, Enabled, kWord, WORDS(EnableStr)),
    FIELD(SmtpDestCfgRecord, EmailAddress, kText, .check = checkMailAddress),
    FIELD(SmtpDestCfgRecord, Description, kText, .check = checkLine),
    {.name = NULL},
};

static const struct Field kTrapFields[] = {
    FIELD(SnmpTrapCfgRecord, TrapVersion, kWord, WORDS(TrapVersionStr)),
    FIELD(SnmpTrapCfgRecord, EventLevelLimit, kWord, WORDS(EventLevelStr)),
    FIELD(SnmpTrapCfgRecord, Community, kSecret, .check = checkSnmpText),
    FIELD(SnmpTrapCfgRecord, HostID, kText, WORDS(HostIDs)),
    FIELD(SnmpTrapCfgRecord, UserName, kText, .check = checkSnmpText),
    FIELD(SnmpTrapCfgRecord, AUTHProtocol, kText, WORDS(AuthProtocols)),
    FIELD(SnmpTrapCfgRecord, AUTHPwd, kSecret, .check = checkPassword),
    FIELD(SnmpTrapCfgRecord, PrivProtocol, kText, WORDS(PrivProtocols)),
    FIELD(SnmpTrapCfgRecord, PRIVPwd, kSecret, .check = checkPassword),
    FIELD(SnmpTrapCfgRecord, EngineID, kText, .check = checkEngineId),
    FIELD(SnmpTrapCfgRecord, DeviceType, kNumber, .check = checkDeviceType),
    {.name = NULL},
};

static const struct Field kTrapDestFields[] = {
    FIELD(SnmpTrapDestCfgRecord, Enabled, kWord, WORDS(EnableStr)),
    FIELD(SnmpTrapDestCfgRecord, Destination, kText, .check = checkServer),
    FIELD(SnmpTrapDestCfgRecord, port, kNumber, .check = checkPort),
    {.name = NULL},
};

static const struct Field kAgentFields[] = {
    FIELD(SnmpAgentCfgRecord, SnmpV1Enable, kWord, WORDS(EnableStr)),
    FIELD(SnmpAgentCfgRecord, SnmpV2Enable, kWord, WORDS(EnableStr)),
    FIELD(SnmpAgentCfgRecord, ReadOnlyCommunity, kSecret, .check = checkSnmpText),
    FIELD(SnmpAgentCfgRecord, ReadWriteCommunity, kSecret, .check = checkSnmpText),
    FIELD(SnmpAgentCfgRecord, SnmpV1V2SetEnable, kWord, WORDS(EnableStr)),
    FIELD(SnmpAgentCfgRecord, SnmpV3Enable, kWord, WORDS(EnableStr)),
    FIELD(SnmpAgentCfgRecord, AUTHProtocol, kWord, WORDS(AuthProtocols)),
    FIELD(SnmpAgentCfgRecord, PrivProtocol, kWord, WORDS(PrivProtocols)),
    FIELD(SnmpAgentCfgRecord, AUTHUserName, kText, .check = checkSnmpText),
    FIELD(SnmpAgentCfgRecord, AUTHPwd, kSecret, .check = checkPassword),
    FIELD(SnmpAgentCfgRecord, PRIVPwd, kSecret, .check = checkPassword),
    {.name = NULL},
};

static int loadSmtp(struct Settings *settings) {
  return VexoraGetSmtpTotalConfFromJson(&settings->record.smtp, sizeof settings->record.smtp, settings->dests.smtp,
                                        sizeof settings->dests.smtp);
}

static int saveSmtp(const struct Settings *settings) {
  return VexoraSetSmtpTotalConfToJson(&settings->record.smtp, sizeof settings->record.smtp, settings->dests.smtp,
                                      sizeof settings->dests.smtp);
}

static int loadTrap(struct Settings *settings) {
  return VexoraGetSnmpTotalConfFromJson(&settings->record.trap, sizeof settings->record.trap, settings->dests.trap,
                                        sizeof settings->dests.trap);
}

static int saveTrap(const struct Settings *settings) {
  return VexoraSetSnmpTotalConfToJson(&settings->record.trap, sizeof settings->record.trap, settings->dests.trap,
                                      sizeof settings->dests.trap);
}

static int loadAgent(struct Settings *settings) {
  return VexoraGetSnmpAgentTotalConfFromJson(&settings->record.agent, sizeof settings->record.agent);
}

static int saveAgent(const struct Settings *settings) {
  return VexoraSetSnmpAgentTotalConfToJson(&settings->record.agent, sizeof settings->record.agent);
}

static const struct Field kNoFields[] = {{.name = NULL}};

static const struct Store kStores[] = {
    {"smtp", kSmtpFields, kSmtpDestFields, sizeof(SmtpDestCfgRecord), loadSmtp, saveSmtp},
    {"trap", kTrapFields, kTrapDestFields, sizeof(SnmpTrapDestCfgRecord), loadTrap, saveTrap},
    {"agent", kAgentFields, kNoFields, 0, loadAgent, saveAgent},
};

const struct Store *findStore(const char *name) {
  for (size_t i = 0; i < sizeof kStores / sizeof *kStores; ++i) {
    if (strcmp(kStores[i].name, name) == 0) {
      return &kStores[i];
    }
  }
  return NULL;
}

const struct Field *findField(const struct Store *store, struct Settings *settings, const char *name, uint8_t **bytes) {
  const struct Field *field = store->fields;
  uint8_t *record = (uint8_t *)&settings->record;
  if (strncmp(name, "dest", 4) == 0 && name[4] >= '1' && name[4] <= '4' && name[5] == '.') {
    field = store->destFields;
    record = (uint8_t *)&settings->dests + (unsigned)(name[4] - '1') * store->destSize;
    name += 6;
  }
  while (field->name != NULL && strcmp(field->name, name) != 0) {
    ++field;
  }
  *bytes = record + field->offset;
  return field->name == NULL ? NULL : field;
}

/* Records are little-endian. */
static int32_t loadNumber(const struct Field *field, const uint8_t *bytes) {
  uint32_t value = 0;
  for (unsigned i = field->size; i > 0; --i) {
    value = value << 8 | bytes[i - 1];
  }
  return (int32_t)value;
}

static void storeNumber(const struct Field *field, uint8_t *bytes, uint32_t value) {
  for (unsigned i = 0; i < field->size; ++i, value >>= 8) {
    bytes[i] = (uint8_t)value;
  }
}

void formatValue(const struct Field *field, const uint8_t *bytes, char text[kValueRoom]) {
  if (field->kind == kText || field->kind == kSecret) {
    (void)snprintf(text, kValueRoom, "%.*s", (int)field->size, (const char *)bytes);
    return;
  }
  const int32_t number = loadNumber(field, bytes);
  if (ValidateIndexToString(field->words, (uint32_t)number, field->wordCount, text, kValueRoom) != 0) {
    (void)snprintf(text, kValueRoom, "%" PRId32, number);
  }
}

static const char *listWords(const struct Field *field) {
  static char list[128];
  size_t length = 0;
  for (int i = 0; i < field->wordCount && length < sizeof list; ++i) {
    length +=
        (size_t)snprintf(list + length, sizeof list - length, "%s%s", i == 0 ? "not one of " : ", ", field->words[i]);
  }
  return list;
}

static const char *refuse(const struct Field *field, const char *value, uint8_t *word) {
  if (field->words != NULL) {
    return ValidateStrToOrder(field->words, value, field->wordCount, word) == 0 ? NULL : listWords(field);
  }
  if (field->kind != kNumber && value[0] == '\0') {
    return NULL;
  }
  if (field->kind != kNumber && strlen(value) >= field->size) {
    return "too long";
  }
  return field->check == NULL ? NULL : field->check(value);
}

const char *assignValue(const struct Field *field, uint8_t *bytes, const char *value) {
  uint8_t word = 0;
  const char *refusal = refuse(field, value, &word);
  if (refusal != NULL) {
    return refusal;
  }
  memset(bytes, 0, field->size);
  switch (field->kind) {
    case kNumber:
      storeNumber(field, bytes, (uint32_t)strtoul(value, NULL, 10));
      break;
    case kWord:
      bytes[0] = word;
      break;
    case kText:
    case kSecret:
      memcpy(bytes, value, strlen(value) + 1);
      break;
  }
  return NULL;
}
