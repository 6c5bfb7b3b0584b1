// SPDX-License-Identifier: Apache-2.0
//
// The settings of SNMP traps and of the SNMP agent. Their files hold communities and passwords enciphered, and a save
// puts a new file in the old one's place, so that a load sees one or the other whole.

#include <cstdio>
#include <utility>

#include "config/settings_file.h"
#include "firmware/unix.h"
#include "vexora/config.h"

namespace {

using vexora::Json;
using vexora::config::Cipher;
using vexora::config::Field;
using vexora::config::isThere;
using vexora::config::Kind;
using vexora::config::Store;

constexpr const char *kModule = "vexora_snmpcfg";

// The secrets come last: what the record has between them stands in front of them in the file.
static_assert(sizeof(SnmpTrapCfgRecord) == 179);
constexpr Field kTrapFields[] = {
    SETTINGS_FIELD(0, SnmpTrapCfgRecord, TrapVersion, Kind::kInteger),
    SETTINGS_FIELD(1, SnmpTrapCfgRecord, EventLevelLimit, Kind::kInteger),
    SETTINGS_FIELD(19, SnmpTrapCfgRecord, HostID, Kind::kText),
    SETTINGS_FIELD(36, SnmpTrapCfgRecord, UserName, Kind::kText),
    SETTINGS_FIELD(53, SnmpTrapCfgRecord, AUTHProtocol, Kind::kText),
    SETTINGS_FIELD(91, SnmpTrapCfgRecord, PrivProtocol, Kind::kText),
    SETTINGS_FIELD(129, SnmpTrapCfgRecord, EngineID, Kind::kText),
    SETTINGS_FIELD(178, SnmpTrapCfgRecord, DeviceType, Kind::kInteger),
    SETTINGS_FIELD(2, SnmpTrapCfgRecord, Community, Kind::kCommunity),
    SETTINGS_FIELD(70, SnmpTrapCfgRecord, AUTHPwd, Kind::kSecret),
    SETTINGS_FIELD(108, SnmpTrapCfgRecord, PRIVPwd, Kind::kSecret),
};

static_assert(sizeof(SnmpTrapDestCfgRecord) == 52);
constexpr Field kTrapDestinationFields[] = {
    SETTINGS_FIELD(0, SnmpTrapDestCfgRecord, Enabled, Kind::kInteger),
    SETTINGS_FIELD(1, SnmpTrapDestCfgRecord, Destination, Kind::kText),
    SETTINGS_FIELD(48, SnmpTrapDestCfgRecord, port, Kind::kInteger),
};

constexpr Store kTrapStore = {
    .name = "SnmpTrap",
    .path = "/conf/SnmpTrapCfg.json",
    .defaultPath = "/etc/defconfig/SnmpTrapCfg.json",
    .version = "1.00",
    .section = "SnmpTrapCfg",
    .fields = kTrapFields,
    .recordSize = sizeof(SnmpTrapCfgRecord),
    .list = "SnmpTrapDestCfg",
    .listFields = kTrapDestinationFields,
    .entrySize = sizeof(SnmpTrapDestCfgRecord),
};

static_assert(sizeof(SnmpAgentCfgRecord) == 99);
constexpr Field kAgentFields[] = {
    SETTINGS_FIELD(0, SnmpAgentCfgRecord, SnmpV1Enable, Kind::kInteger),
    SETTINGS_FIELD(1, SnmpAgentCfgRecord, SnmpV2Enable, Kind::kInteger),
    SETTINGS_FIELD(36, SnmpAgentCfgRecord, SnmpV1V2SetEnable, Kind::kInteger),
    SETTINGS_FIELD(37, SnmpAgentCfgRecord, SnmpV3Enable, Kind::kInteger),
    SETTINGS_FIELD(38, SnmpAgentCfgRecord, AUTHProtocol, Kind::kInteger),
    SETTINGS_FIELD(39, SnmpAgentCfgRecord, PrivProtocol, Kind::kInteger),
    SETTINGS_FIELD(40, SnmpAgentCfgRecord, AUTHUserName, Kind::kText),
    SETTINGS_FIELD(2, SnmpAgentCfgRecord, ReadOnlyCommunity, Kind::kSecret),
    SETTINGS_FIELD(19, SnmpAgentCfgRecord, ReadWriteCommunity, Kind::kSecret),
    SETTINGS_FIELD(57, SnmpAgentCfgRecord, AUTHPwd, Kind::kSecret),
    SETTINGS_FIELD(78, SnmpAgentCfgRecord, PRIVPwd, Kind::kSecret),
};

constexpr Store kAgentStore = {
    .name = "Snmp",
    .path = "/conf/SnmpAgentCfg.json",
    .defaultPath = "/etc/defconfig/SnmpAgentCfg.json",
    .version = nullptr,
    .section = "SnmpCfg",
    .fields = kAgentFields,
    .recordSize = sizeof(SnmpAgentCfgRecord),
    .list = nullptr,
    .listFields = {},
    .entrySize = 0,
};

bool areTrapRecords(const void *cfg, int cfgSize, const void *dests, int destsSize) {
  return cfg != nullptr && cfgSize == sizeof(SnmpTrapCfgRecord) && dests != nullptr &&
         destsSize == sizeof(SnmpTrapDestCfgRecord[VEXORA_ALERT_DESTINATIONS]);
}

bool isAgentRecord(const void *cfg, int cfgSize) { return cfg != nullptr && cfgSize == sizeof(SnmpAgentCfgRecord); }

void printAgentRefusal(const void *cfg, int cfgSize, int line = __builtin_LINE()) {
  std::printf("%s(%d)Invalid input parameters!%p, %d\n", kModule, line, cfg, cfgSize);
}

bool restore(const Store &store) {
  static_cast<void>(copyFile(store.defaultPath, store.path));
  if (isThere(store)) {
    return true;
  }
  LOG_SETTINGS("The %s configure file %s and %s not exist.", store.name, store.path, store.defaultPath);
  return false;
}

int loadRecords(const Store &store, void *record, void *destinations) {
  Json document = vexora::config::parseFile(store);
  if (!document && !isThere(store)) {
    if (!restore(store)) {
      return -1;
    }
    document = vexora::config::parseFile(store);
  }
  return vexora::config::load(store, std::move(document), record, destinations);
}

int save(const Store &store, const char *newPath, const void *record, const void *destinations, const Cipher &cipher) {
  Json document = vexora::config::makeDocument(store, record, destinations, &cipher);
  if (!document) {
    return -1;
  }
  static_cast<void>(json_object_to_file(newPath, document.get()));
  document.reset();
  static_cast<void>(moveFile(newPath, store.path));
  return 0;
}

}  // namespace

int VexoraGetSnmpTotalConfFromJson(SnmpTrapCfgRecord *cfg, int cfgSize, SnmpTrapDestCfgRecord *dests, int destsSize) {
  if (!areTrapRecords(cfg, cfgSize, dests, destsSize)) {
    vexora::config::printRefusal(kModule, cfg, cfgSize, dests, destsSize);
    return -1;
  }
  return loadRecords(kTrapStore, cfg, dests);
}

int VexoraSetSnmpTotalConfToJson(const SnmpTrapCfgRecord *cfg, int cfgSize, const SnmpTrapDestCfgRecord *dests,
                                 int destsSize) {
  Cipher cipher;
  if (!cipher.fetch()) {
    return -1;
  }
  if (!areTrapRecords(cfg, cfgSize, dests, destsSize)) {
    vexora::config::printRefusal(kModule, cfg, cfgSize, dests, destsSize);
    return -1;
  }
  return save(kTrapStore, "/conf/SnmpTrapCfg.json.bak", cfg, dests, cipher);
}

int VexoraGetSnmpAgentTotalConfFromJson(SnmpAgentCfgRecord *cfg, int cfgSize) {
  if (!isAgentRecord(cfg, cfgSize)) {
    printAgentRefusal(cfg, cfgSize);
    return -1;
  }
  return loadRecords(kAgentStore, cfg, nullptr);
}

int VexoraSetSnmpAgentTotalConfToJson(const SnmpAgentCfgRecord *cfg, int cfgSize) {
  Cipher cipher;
  if (!cipher.fetch()) {
    return -1;
  }
  if (!isAgentRecord(cfg, cfgSize)) {
    printAgentRefusal(cfg, cfgSize);
    return -1;
  }
  return save(kAgentStore, "/conf/SnmpAgentCfg.json.bak", cfg, nullptr, cipher);
}
