// SPDX-License-Identifier: Apache-2.0
//
// The e-mail alert settings. Nothing in them is enciphered, and the file is written in place.

#include <cstdio>
#include <utility>

#include "config/settings_file.h"
#include "firmware/unix.h"
#include "vexora/config.h"

namespace {

using vexora::Json;
using vexora::config::Field;
using vexora::config::isThere;
using vexora::config::Kind;
using vexora::config::Store;

constexpr const char *kModule = "vexora_smtpcfg";

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
    .name = "Smtp",
    .path = "/conf/SmtpCfg.json",
    .defaultPath = "/etc/defconfig/SmtpCfg.json",
    .version = nullptr,
    .section = "SmtpCfg",
    .fields = kFields,
    .recordSize = sizeof(SmtpCfgRecord),
    .list = "SmtpDestCfg",
    .listFields = kDestinationFields,
    .entrySize = sizeof(SmtpDestCfgRecord),
};

bool areRecords(const void *cfg, int cfgSize, const void *dests, int destsSize) {
  return cfg != nullptr && cfgSize == sizeof(SmtpCfgRecord) && dests != nullptr &&
         destsSize == sizeof(SmtpDestCfgRecord[VEXORA_ALERT_DESTINATIONS]);
}

bool restore() {
  std::puts("=====11111");
  static_cast<void>(copyFile(kStore.defaultPath, kStore.path));
  std::printf("=====Smtpjsonfilepath:%s\n", kStore.path);
  return isThere(kStore);
}

}  // namespace

int VexoraGetSmtpTotalConfFromJson(SmtpCfgRecord *cfg, int cfgSize, SmtpDestCfgRecord *dests, int destsSize) {
  if (!areRecords(cfg, cfgSize, dests, destsSize)) {
    vexora::config::printRefusal(kModule, cfg, cfgSize, dests, destsSize);
    return -1;
  }
  Json document = vexora::config::parseFile(kStore);
  if (!document && !isThere(kStore)) {
    if (!restore()) {
      LOG_SETTINGS("The Smtp configure file %s not exist.", kStore.path);
      return -1;
    }
    document = vexora::config::parseFile(kStore);
  }
  return vexora::config::load(kStore, std::move(document), cfg, dests);
}

int VexoraSetSmtpTotalConfToJson(const SmtpCfgRecord *cfg, int cfgSize, const SmtpDestCfgRecord *dests, int destsSize) {
  if (!areRecords(cfg, cfgSize, dests, destsSize)) {
    vexora::config::printRefusal(kModule, cfg, cfgSize, dests, destsSize);
    return -1;
  }
  const Json document = vexora::config::makeDocument(kStore, cfg, dests, nullptr);
  if (!document) {
    return -1;
  }
  static_cast<void>(json_object_to_file(kStore.path, document.get()));
  return 0;
}
