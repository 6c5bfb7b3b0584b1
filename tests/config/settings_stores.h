// SPDX-License-Identifier: Apache-2.0
//
// The three settings stores, alike for test and fuzz target: a file, its records and the two calls.
#pragma once

#include <cstring>
#include <string>

#include "vexora/config.h"

namespace vexora::test {

struct Smtp {
  static constexpr const char *kName = "Smtp";  // in messages
  static constexpr unsigned kSecrets = 0;
  static constexpr const char *kFile = "/conf/SmtpCfg.json";
  SmtpCfgRecord cfg = {};
  SmtpDestCfgRecord dests[4] = {};
  int load() { return VexoraGetSmtpTotalConfFromJson(&cfg, 273, dests, 332); }
  int save() { return VexoraSetSmtpTotalConfToJson(&cfg, 273, dests, 332); }
};

struct Trap {
  static constexpr const char *kName = "SnmpTrap";  // in messages
  static constexpr const char *kFile = "/conf/SnmpTrapCfg.json";
  static constexpr unsigned kSecrets = 3;
  SnmpTrapCfgRecord cfg = {};
  SnmpTrapDestCfgRecord dests[4] = {};
  int load() { return VexoraGetSnmpTotalConfFromJson(&cfg, 179, dests, 208); }
  int save() { return VexoraSetSnmpTotalConfToJson(&cfg, 179, dests, 208); }
};

struct Agent {
  static constexpr const char *kName = "Snmp";  // in messages
  static constexpr const char *kFile = "/conf/SnmpAgentCfg.json";
  static constexpr unsigned kSecrets = 4;
  SnmpAgentCfgRecord cfg = {};
  int load() { return VexoraGetSnmpAgentTotalConfFromJson(&cfg, 99); }
  int save() { return VexoraSetSnmpAgentTotalConfToJson(&cfg, 99); }
};

template <typename Settings>
std::string bytes(const Settings &settings) {
  return {reinterpret_cast<const char *>(&settings), sizeof settings};
}

template <typename Settings>
Settings filled(char value) {
  Settings settings;
  std::memset(static_cast<void *>(&settings), value, sizeof settings);
  return settings;
}

}  // namespace vexora::test
