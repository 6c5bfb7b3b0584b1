// SPDX-License-Identifier: Apache-2.0
//
// The settings of SNMP traps and of the SNMP agent. Communities and passwords are enciphered in the files. A save
// writes a new file and moves it into place, so that a load sees the whole old file or the whole new one.

#include "config/settings_file.h"
#include "vexora/config.h"

namespace {

using vexora::config::Field;
using vexora::config::Kind;
using vexora::config::Store;

constexpr const char *kModule = "vexora_snmpcfg";

// The secrets come last in the file: a secret that can't be deciphered ends a load, which then has all plain fields.
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
    .module = kModule,
    .name = "SnmpTrap",
    .path = "/conf/SnmpTrapCfg.json",
    .defaultPath = "/etc/defconfig/SnmpTrapCfg.json",
    .newPath = "/conf/SnmpTrapCfg.json.bak",
    .printsRestore = false,
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
    .module = kModule,
    .name = "Snmp",
    .path = "/conf/SnmpAgentCfg.json",
    .defaultPath = "/etc/defconfig/SnmpAgentCfg.json",
    .newPath = "/conf/SnmpAgentCfg.json.bak",
    .printsRestore = false,
    .version = nullptr,
    .section = "SnmpCfg",
    .fields = kAgentFields,
    .recordSize = sizeof(SnmpAgentCfgRecord),
    .list = nullptr,
    .listFields = {},
    .entrySize = 0,
};

}  // namespace

int VexoraGetSnmpTotalConfFromJson(SnmpTrapCfgRecord *cfg, int cfgSize, SnmpTrapDestCfgRecord *dests, int destsSize) {
  return vexora::config::load(kTrapStore, cfg, cfgSize, dests, destsSize);
}

int VexoraSetSnmpTotalConfToJson(const SnmpTrapCfgRecord *cfg, int cfgSize, const SnmpTrapDestCfgRecord *dests,
                                 int destsSize) {
  return vexora::config::save(kTrapStore, cfg, cfgSize, dests, destsSize);
}

int VexoraGetSnmpAgentTotalConfFromJson(SnmpAgentCfgRecord *cfg, int cfgSize) {
  return vexora::config::load(kAgentStore, cfg, cfgSize);
}

int VexoraSetSnmpAgentTotalConfToJson(const SnmpAgentCfgRecord *cfg, int cfgSize) {
  return vexora::config::save(kAgentStore, cfg, cfgSize);
}
