// SPDX-License-Identifier: Apache-2.0
//
// The settings files as data: each file's names, and tables of the record's fields in the order of the file, which is
// also the order of reading. The order matters: a secret that can't be deciphered ends the reading, so it and the
// fields after it stay empty. Secrets therefore come last.
//
// Here and in other layouts tables aren't inline: ARM code would reach them through the global offset table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "vexora/config.h"

namespace vexora::config {

enum class Kind : std::uint8_t {
  kInteger,    // little-endian in the record; of a larger number the low bits of the nearest 32-bit number
  kText,       // NUL-terminated in the record
  kSecret,     // a text, enciphered in the file
  kCommunity,  // a secret; plain texts in the file that begin with "public" are accepted, too
};

struct Field {
  const char *key;
  std::uint16_t offset;
  std::uint16_t width;
  Kind kind;
};

void tableAndRecordDiffer();  // not constexpr: a call during constant evaluation is a compile error

consteval Field checkedField(std::size_t expected, const char *key, std::size_t offset, std::size_t width, Kind kind) {
  if (offset != expected) {
    tableAndRecordDiffer();
  }
  return {key, static_cast<std::uint16_t>(offset), static_cast<std::uint16_t>(width), kind};
}

/// A row of a table: the fixed offset, and the record's member, whose name is the key.
#define SETTINGS_FIELD(offset, record, member, kind) \
  vexora::config::checkedField(offset, #member, offsetof(record, member), sizeof(record::member), kind)

struct Store {
  const char *module;  // in refusals
  const char *name;    // in messages
  const char *path;
  const char *defaultPath;
  const char *newPath = nullptr;  // written by a save and then moved into place; null: the save writes in place
  bool printsRestore = false;     // on standard output; messages of a missing file then leave out the default
  const char *version = nullptr;  // the document's first member, or null
  const char *section;            // the member that holds the record
  std::span<const Field> fields;
  std::size_t recordSize;
  const char *list = nullptr;  // the member that holds the alert destinations, or null
  std::span<const Field> listFields = {};
  std::size_t entrySize = 0;
};

static_assert(sizeof(SmtpCfgRecord) == 273);
constexpr Field kSmtpFields[] = {
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
constexpr Field kSmtpDestinationFields[] = {
    SETTINGS_FIELD(0, SmtpDestCfgRecord, Enabled, Kind::kInteger),
    SETTINGS_FIELD(1, SmtpDestCfgRecord, EmailAddress, Kind::kText),
    SETTINGS_FIELD(66, SmtpDestCfgRecord, Description, Kind::kText),
};

constexpr Store kSmtp = {
    .module = "vexora_smtpcfg",
    .name = "Smtp",
    .path = "/conf/SmtpCfg.json",
    .defaultPath = "/etc/defconfig/SmtpCfg.json",
    .printsRestore = true,
    .section = "SmtpCfg",
    .fields = kSmtpFields,
    .recordSize = sizeof(SmtpCfgRecord),
    .list = "SmtpDestCfg",
    .listFields = kSmtpDestinationFields,
    .entrySize = sizeof(SmtpDestCfgRecord),
};

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

constexpr Store kTrap = {
    .module = "vexora_snmpcfg",
    .name = "SnmpTrap",
    .path = "/conf/SnmpTrapCfg.json",
    .defaultPath = "/etc/defconfig/SnmpTrapCfg.json",
    .newPath = "/conf/SnmpTrapCfg.json.bak",
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

constexpr Store kAgent = {
    .module = "vexora_snmpcfg",
    .name = "Snmp",
    .path = "/conf/SnmpAgentCfg.json",
    .defaultPath = "/etc/defconfig/SnmpAgentCfg.json",
    .newPath = "/conf/SnmpAgentCfg.json.bak",
    .section = "SnmpCfg",
    .fields = kAgentFields,
    .recordSize = sizeof(SnmpAgentCfgRecord),
};

}  // namespace vexora::config
