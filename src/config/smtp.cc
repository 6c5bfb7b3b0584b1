// SPDX-License-Identifier: Apache-2.0
//
// The e-mail alert settings. Nothing in them is enciphered, and the file is written in place.

#include "config/settings_file.h"

using namespace vexora::config;

int VexoraGetSmtpTotalConfFromJson(SmtpCfgRecord *cfg, int cfgSize, SmtpDestCfgRecord *dests, int destsSize) {
  return load(kSmtp, cfg, cfgSize, dests, destsSize);
}

int VexoraSetSmtpTotalConfToJson(const SmtpCfgRecord *cfg, int cfgSize, const SmtpDestCfgRecord *dests, int destsSize) {
  return save(kSmtp, cfg, cfgSize, dests, destsSize);
}
