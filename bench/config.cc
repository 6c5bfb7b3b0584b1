// SPDX-License-Identifier: Apache-2.0
//
// The settings stores: a load against a check for the file, json-c's parsing and the firmware's decryption of its
// secrets; the event subscriptions, with all fields used, against reading the file line by line and copying as many
// strings; the document of an event against json-c making it.

#include <json-c/json.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "firmware/aes.h"
#include "table.h"
#include "vexora/config.h"

namespace {

using vexora::bench::Table;

constexpr int kCalls = 20;

bool parses(const char *path) {
  json_object *const parsed = access(path, F_OK) == 0 ? json_object_from_file(path) : nullptr;
  return parsed != nullptr && json_object_put(parsed) == 1;
}

void loadSmtp(Table &table) {
  SmtpCfgRecord cfg = {1, "mail.example", 25, 465, 1, 0, 1, "operator", "password", "bmc@example", "alert", 1, 1, 1, 2};
  SmtpDestCfgRecord dests[VEXORA_ALERT_DESTINATIONS] = {};
  for (SmtpDestCfgRecord &dest : dests) {
    dest = {1, "engineer@example.org", "on call"};
  }
  VexoraSetSmtpTotalConfToJson(&cfg, sizeof cfg, dests, sizeof dests);
  table.compare(
      "load-smtp", {.host = 1.1, .board = 1.1}, kCalls,
      [&] { return VexoraGetSmtpTotalConfFromJson(&cfg, sizeof cfg, dests, sizeof dests) == 0; },
      [] { return parses("/conf/SmtpCfg.json"); });
}
/// A secret as in the file; the floor decrypts the same number.
struct Ciphered {
  std::uint8_t bytes[32];
  int length = 0;
};

void loadSnmpTrap(Table &table) {
  SnmpTrapCfgRecord cfg = {3, 1, "community", "host", "operator", "SHA", "password", "AES", "privacy", "80001370", 2};
  SnmpTrapDestCfgRecord dests[VEXORA_ALERT_DESTINATIONS] = {};
  for (SnmpTrapDestCfgRecord &dest : dests) {
    dest = {1, "192.0.2.1", 162};
  }
  VexoraSetSnmpTotalConfToJson(&cfg, sizeof cfg, dests, sizeof dests);
  std::uint8_t key[FIRMWARE_AES_KEY_SIZE];
  std::uint8_t vector[FIRMWARE_AES_VECTOR_SIZE];
  Ciphered secret;
  if (AES_GetEncryptKey(key, sizeof key) != 0 || AES_GetInitialVector(vector, sizeof vector) != 0 ||
      AES_EncryptData(vector, 9, secret.bytes, &secret.length, key, vector) != 0) {
    table.fail("load-snmp-trap", "no cipher");
    return;
  }
  table.compare(
      "load-snmp-trap", {.host = 1.1, .board = 1.1}, kCalls,
      [&] { return VexoraGetSnmpTotalConfFromJson(&cfg, sizeof cfg, dests, sizeof dests) == 0; },
      [&] {
        bool done = parses("/conf/SnmpTrapCfg.json") && AES_GetEncryptKey(key, sizeof key) == 0 &&
                    AES_GetInitialVector(vector, sizeof vector) == 0;
        for (int i = 0; i < 3; ++i) {
          std::uint8_t plain[32];
          int length = 0;
          done = done && AES_DecryptData(secret.bytes, secret.length, plain, &length, key, vector) == 0;
        }
        return done;
      });
}

void eventDocument(Table &table) {
  EventArray event;
  EventArrayMemInit(&event);
  event.id = "17";
  event.eventType = "Alert";
  event.eventId = "4711";
  event.severity = "Critical";
  event.eventTimestamp = "2026-01-31T12:00:00+00:00";
  event.message = "The temperature of a sensor is above its upper threshold.";
  event.messageId = "Alert.1.0.TemperatureHigh";
  event.messageArgs[0] = "inlet";
  event.originOfCondition[0] = "/redfish/v1/Chassis/1/Thermal";
  event.context = "rack 4";
  std::vector<char> out(56 * 1024);
  const auto add = [](json_object *to, const char *key, const char *value) {
    json_object_object_add(to, key, json_object_new_string(value));
  };
  table.compare(
      "event-document", {.host = 1.2, .board = 1.2}, kCalls,
      [&] {
        getJsonData(out.data(), event, "server");
        return out[0] == '{';
      },
      [&] {
        json_object *const inner = json_object_new_object();
        add(inner, "EventType", event.eventType);
        add(inner, "EventId", event.eventId);
        add(inner, "Severity", event.severity);
        add(inner, "EventTimestamp", event.eventTimestamp);
        add(inner, "Message", event.message);
        add(inner, "MessageId", event.messageId);
        json_object *const arguments = json_object_new_array();
        json_object_array_add(arguments, json_object_new_string(event.messageArgs[0]));
        json_object_object_add(inner, "MessageArgs", arguments);
        for (const char *key : {"OriginOfCondition", "Oem"}) {
          json_object *const array = json_object_new_array();
          json_object *const pair = json_object_new_object();
          add(pair, "@odata.id", event.originOfCondition[0]);
          json_object_array_add(array, pair);
          json_object_object_add(inner, key, array);
        }
        json_object *const document = json_object_new_object();
        add(document, "@odata.context", "/redfish/v1/$metadata#Event.Event");
        add(document, "@odata.id", "/redfish/v1/EventService/Events/17");
        add(document, "@odata.type", "#Event.v1_1_0.Event");
        add(document, "Id", event.id);
        add(document, "Name", "Event Array");
        add(document, "Context", event.context);
        json_object *const events = json_object_new_array();
        json_object_array_add(events, inner);
        json_object_object_add(document, "Events", events);
        std::size_t length = 0;
        const char *const text = json_object_to_json_string_length(document, JSON_C_TO_STRING_SPACED, &length);
        std::memcpy(out.data(), text, length + 1);
        return json_object_put(document) == 1;
      });
}

bool readLines() {
  std::FILE *const file = std::fopen("/conf/eventsubscriptions.conf", "rb+");
  char line[128];
  char *copies[VEXORA_EVENT_SUBSCRIPTIONS * 74];
  std::size_t count = 0;
  while (file != nullptr && std::fgets(line, sizeof line, file) != nullptr) {
    copies[count++] = strdup(line);
  }
  for (std::size_t i = 0; i < count; ++i) {
    std::free(copies[i]);
  }
  return file != nullptr && std::fclose(file) == 0;
}

void loadSubscriptions(Table &table) {
  EventSubScriptionRecord slots[VEXORA_EVENT_SUBSCRIPTIONS] = {};
  std::string filter = "Alert.1.0.LanDisconnect";
  for (EventSubScriptionRecord &slot : slots) {
    slot.present = 1;
    slot.destaddr = filter.data();
    for (int i = 0; i < VEXORA_EVENT_FILTERS; ++i) {
      slot.messageid[i] = filter.data();
      slot.resource[i] = filter.data();
    }
  }
  SetEventSubScription2ConfFile(0, slots);
  table.compare(
      "load-subscriptions", {.host = 1.5, .instructions = 450'000}, kCalls,
      [] {
        blEventSubScriptionsFlag = 0;
        return GetEventSubScriptionFromConfFile(&blEventSubScriptionsFlag, stEventSubScriptionStore) == 0;
      },
      readLines);
}
}  // namespace

int main(int argc, char **argv) {
  Table table(argc, argv);
  loadSmtp(table);
  loadSnmpTrap(table);
  loadSubscriptions(table);
  eventDocument(table);
  return table.status();
}
