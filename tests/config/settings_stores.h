// SPDX-License-Identifier: Apache-2.0
//
// The three settings stores with one interface, for test and fuzz target: a file, its records and the two calls.
#pragma once

#include <cstring>
#include <string>
#include <tuple>

#include "vexora/config.h"

namespace vexora::test {

// arguments(n) returns the arguments of the calls; n from 1 on makes one of them wrong.
struct Smtp {
  static constexpr const char *kName = "Smtp";  // in messages
  static inline const std::string kRefusal = "vexora_smtpcfg(LINE)Invalid input parameters!%p, %d, %p, %d\n";
  static constexpr unsigned kSecrets = 0;
  static inline const std::string kFile = "/conf/SmtpCfg.json";
  SmtpCfgRecord cfg = {};
  SmtpDestCfgRecord dests[4] = {};
  auto arguments(int wrong) {
    return std::tuple(wrong == 1 ? nullptr : &cfg, 273 + (wrong == 2) - (wrong == 3), wrong == 4 ? nullptr : dests,
                      332 + (wrong == 5) - (wrong == 6));
  }
  int load(int wrong = 0) { return std::apply(VexoraGetSmtpTotalConfFromJson, arguments(wrong)); }
  int save(int wrong = 0) { return std::apply(VexoraSetSmtpTotalConfToJson, arguments(wrong)); }
};

struct Trap {
  static constexpr const char *kName = "SnmpTrap";
  static inline const std::string kRefusal = "vexora_snmpcfg(LINE)Invalid input parameters!%p, %d, %p, %d\n";
  static constexpr unsigned kSecrets = 3;
  static inline const std::string kFile = "/conf/SnmpTrapCfg.json";
  SnmpTrapCfgRecord cfg = {};
  SnmpTrapDestCfgRecord dests[4] = {};
  auto arguments(int wrong) {
    return std::tuple(wrong == 1 ? nullptr : &cfg, 179 + (wrong == 2) - (wrong == 3), wrong == 4 ? nullptr : dests,
                      208 + (wrong == 5) - (wrong == 6));
  }
  int load(int wrong = 0) { return std::apply(VexoraGetSnmpTotalConfFromJson, arguments(wrong)); }
  int save(int wrong = 0) { return std::apply(VexoraSetSnmpTotalConfToJson, arguments(wrong)); }
};

struct Agent {
  static constexpr const char *kName = "Snmp";
  static inline const std::string kRefusal = "vexora_snmpcfg(LINE)Invalid input parameters!%p, %d\n";
  static constexpr unsigned kSecrets = 4;
  static inline const std::string kFile = "/conf/SnmpAgentCfg.json";
  SnmpAgentCfgRecord cfg = {};
  auto arguments(int wrong) { return std::tuple(wrong == 1 ? nullptr : &cfg, 99 + (wrong == 2) - (wrong == 3)); }
  int load(int wrong = 0) { return std::apply(VexoraGetSnmpAgentTotalConfFromJson, arguments(wrong)); }
  int save(int wrong = 0) { return std::apply(VexoraSetSnmpAgentTotalConfToJson, arguments(wrong)); }
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
