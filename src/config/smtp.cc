// SPDX-License-Identifier: Apache-2.0
//
// The e-mail alert settings. Nothing in them is enciphered, and the file is written in place.

#include "config/settings_file.h"
#include "vexora/config.h"

namespace {

using vexora::config::Field;
using vexora::config::Kind;
using vexora::config::Store;

static_assert(sizeof(SmtpCfgRecord) == 273);
constexpr Field kFields[] = {
    SETTINGS_FIELD(0, SmtpCfgRecord, SmtpEnable, Kind::kInteger),
    SETTINGS_FIELD(1, SmtpCfgRecord, ServerAddr, Kind::kText),
    SETTINGS_FIELD(48, SmtpCfgRecord, SmtpPort, Kind::kInteger),
    SETTINGS_FIELD(50, SmtpCfgRecord, SmtpSecurePort, Kind::kInteger),
    SETTINGS_FIELD(52, SmtpCfgRecord, EnableSTARTTLS, Kind::kInteger),
    SETTINGS_FIELD(53, SmtpCfgRecord, EnableSSLTLS, Kind::kInteger),
    SETTINGS_FIELD(54, SmtpCfgRecord, SMTPAUTH, Kind::kInteger),
    SETTINGS_FIELD(55, SmtpCfgRecord, UserName, Kind::kText),
    SETTINGS_FIELD(121, SmtpCfgRecord, PassWord, Kind::kText),
    SETTINGS_FIELD(187, SmtpCfgRecord, SenderAddr, Kind::kText),
    SETTINGS_FIELD(252, SmtpCfgRecord, Subject, Kind::kText),
    SETTINGS_FIELD(269, SmtpCfgRecord, HostName, Kind::kInteger),
    SETTINGS_FIELD(270, SmtpCfgRecord, SerialNumber, Kind::kInteger),
    SETTINGS_FIELD(271, SmtpCfgRecord, AssetTag, Kind::kInteger),
    SETTINGS_FIELD(272, SmtpCfgRecord, EventLevel, Kind::kInteger),
};

static_assert(sizeof(SmtpDestCfgRecord) == 83);
constexpr Field kDestinationFields[] = {
    SETTINGS_FIELD(0, SmtpDestCfgRecord, Enabled, Kind::kInteger),
    SETTINGS_FIELD(1, SmtpDestCfgRecord, EmailAddress, Kind::kText),
    SETTINGS_FIELD(66, SmtpDestCfgRecord, Description, Kind::kText),
};

constexpr Store kStore = {
    .module = "vexora_smtpcfg",
    .name = "Smtp",
    .path = "/conf/SmtpCfg.json",
    .defaultPath = "/etc/defconfig/SmtpCfg.json",
    .newPath = nullptr,
    .printsRestore = true,
    .version = nullptr,
    .section = "SmtpCfg",
    .fields = kFields,
    .recordSize = sizeof(SmtpCfgRecord),
    .list = "SmtpDestCfg",
    .listFields = kDestinationFields,
    .entrySize = sizeof(SmtpDestCfgRecord),
};

}  // namespace

int VexoraGetSmtpTotalConfFromJson(SmtpCfgRecord *cfg, int cfgSize, SmtpDestCfgRecord *dests, int destsSize) {
  return vexora::config::load(kStore, cfg, cfgSize, dests, destsSize);
}

int VexoraSetSmtpTotalConfToJson(const SmtpCfgRecord *cfg, int cfgSize, const SmtpDestCfgRecord *dests, int destsSize) {
  return vexora::config::save(kStore, cfg, cfgSize, dests, destsSize);
}
