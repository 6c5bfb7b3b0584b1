// SPDX-License-Identifier: Apache-2.0
//
// The settings of SNMP traps and of the SNMP agent. Communities and passwords are enciphered in the files. A save
// writes a new file and moves it into place, so that a load sees the whole old file or the whole new one.

#include "config/settings_file.h"

using namespace vexora::config;

int VexoraGetSnmpTotalConfFromJson(SnmpTrapCfgRecord *cfg, int cfgSize, SnmpTrapDestCfgRecord *dests, int destsSize) {
  return load(kTrap, cfg, cfgSize, dests, destsSize);
}

int VexoraSetSnmpTotalConfToJson(const SnmpTrapCfgRecord *cfg, int cfgSize, const SnmpTrapDestCfgRecord *dests,
                                 int destsSize) {
  return save(kTrap, cfg, cfgSize, dests, destsSize);
}

int VexoraGetSnmpAgentTotalConfFromJson(SnmpAgentCfgRecord *cfg, int cfgSize) { return load(kAgent, cfg, cfgSize); }

int VexoraSetSnmpAgentTotalConfToJson(const SnmpAgentCfgRecord *cfg, int cfgSize) { return save(kAgent, cfg, cfgSize); }
