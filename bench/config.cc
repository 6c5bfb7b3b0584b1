// SPDX-License-Identifier: Apache-2.0
//
// The stores of settings: a load against a look for the file and json-c parsing it, and the event subscriptions, all
// fields in use, against reading the file line by line and copying as many strings.

#include <json-c/json.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "table.h"
#include "vexora/config.h"

namespace {

using vexora::bench::Table;

constexpr int kCalls = 20;

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
      [] {
        constexpr const char *kFile = "/conf/SmtpCfg.json";
        json_object *const parsed = access(kFile, F_OK) == 0 ? json_object_from_file(kFile) : nullptr;
        return parsed != nullptr && json_object_put(parsed) == 1;
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
      "load-subscriptions", {.host = 1.5, .instructions = 400'000}, kCalls,
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
  loadSubscriptions(table);
  return table.status();
}
