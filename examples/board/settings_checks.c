/* SPDX-License-Identifier: Apache-2.0 */
#include "settings_checks.h"

#include <stdbool.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "vexora/config.h"
#include "vexora/text.h"

enum {
  kMostUser = sizeof((SmtpCfgRecord *)NULL)->UserName - 1,
  kMostEngineId = sizeof((SnmpTrapCfgRecord *)NULL)->EngineID - 1,
  kMailUser = 1, /* the mode of vexora_isvalid_username */
};

/* Digits and dots alone are a valid domain name, but here they are a mistyped address. */
const char *checkServer(const char *value) {
  const bool isName = value[strspn(value, "0123456789.")] != '\0';
  return vexora_isvalid_ipv4(value) == 0 || vexora_isvalid_ipv6(value) == 0 || (isName && VexoraIsDomain(value) == 0)
             ? NULL
             : "neither an address nor a domain name";
}

const char *checkMailAddress(const char *value) {
  return vexora_isvalid_email(value) == 0 ? NULL : "not a mail address";
}

const char *checkSenderAddress(const char *value) {
  return vexora_isvalid_senderaddress(value) == 0 ? checkMailAddress(value) : "not a sender's address";
}

const char *checkMailUser(const char *value) {
  return vexora_isvalid_username(value, kMostUser, kMailUser) == 0 ? NULL : "not a user name";
}

const char *checkLine(const char *value) {
  return vexora_verify_sensitivewords(value) == 0 ? NULL : "holds one of |*()&=";
}

const char *checkPassword(const char *value) {
  return vexora_isvalid_passwd(value) == 0
             ? NULL
             : "does not mix three of small letters, capitals, digits and others, or holds a blank";
}

const char *checkSnmpText(const char *value) {
  return ValidateSNMPTrapCfgInput((const unsigned char *)value, (int)strlen(value)) == 0 ? NULL : "holds a blank";
}

const char *checkEngineId(const char *value) {
  static const char *const kReasons[] = {NULL, "not hexadecimal", "not 5 to 24 octets of two digits"};
  return kReasons[ValidateSNMPTrapCfgEngineID(value, kMostEngineId)];
}

/* Returns the number that decimal digits say, or UINT32_MAX. */
static unsigned parseNumber(const char *value) {
  const unsigned long number = vexora_verify_strisdigit(value, 10) == 1 ? strtoul(value, NULL, 10) : UINT32_MAX;
  return number < UINT32_MAX ? (unsigned)number : UINT32_MAX;
}

const char *checkDeviceType(const char *value) {
  return ValidateSNMPTrapCfgDeviceType(parseNumber(value)) == 0 ? NULL : "not a sensor type that has traps";
}

const char *checkPort(const char *value) {
  const unsigned port = parseNumber(value);
  return port >= 1 && port <= UINT16_MAX ? NULL : "not a port from 1 to 65535";
}
