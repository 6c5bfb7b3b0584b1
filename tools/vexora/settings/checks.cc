// SPDX-License-Identifier: Apache-2.0
#include "settings/checks.h"

#include <vexora/text.h>

#include "core/tool.h"

namespace vexora::tool {
namespace {

/// Some validators say what they refuse on standard output: their own words tell more than ours.
std::string reasonOf(const std::function<bool()> &accepts, const std::string &reason) {
  bool accepted = false;
  std::string said = captured([&] { accepted = accepts(); });
  said.erase(said.find_last_not_of("\r\n ") + 1);
  return accepted ? "" : reason + (said.empty() ? "" : " (" + printable(said) + ")");
}

std::string checkName(const SettingValue &value, int mode, const char *reason) {
  return reasonOf(
      [&] { return vexora_isvalid_username(value.text.c_str(), static_cast<int>(value.text.size()), mode) == 0; },
      reason);
}

}  // namespace

std::string checkPort(const SettingValue &value) {
  return value.number >= 1 && value.number <= 65535 ? "" : "no port: 1 to 65535";
}

std::string checkDeviceType(const SettingValue &value) {
  return ValidateSNMPTrapCfgDeviceType(static_cast<unsigned>(value.number)) == 0
             ? ""
             : "no sensor type whose traps can be configured";
}

std::string checkAddress(const SettingValue &value) {
  const char *text = value.text.c_str();
  return vexora_isvalid_ipv4(text) == 0 || vexora_isvalid_ipv6(text) == 0 || VexoraIsDomain(text) == 0
             ? ""
             : "neither an IPv4 nor an IPv6 address nor a domain name";
}

std::string checkMailAddress(const SettingValue &value) {
  const char *text = value.text.c_str();
  return reasonOf([=] { return vexora_isvalid_email(text) == 0 && vexora_isvalid_senderaddress(text) == 0; },
                  "no mail address");
}

std::string checkMailUser(const SettingValue &value) { return checkName(value, 1, "no user name of a mail server"); }

std::string checkUser(const SettingValue &value) { return checkName(value, 0, "no user name"); }

std::string checkPassword(const SettingValue &value) {
  return vexora_isvalid_passwd(value.text.c_str()) == 0
             ? ""
             : "weak: three of small letters, capitals, digits and others are needed, and no blank";
}

std::string checkPlainText(const SettingValue &value) {
  return vexora_verify_sensitivewords(value.text.c_str()) == 0 ? "" : "has one of *()&=|";
}

std::string checkCommunity(const SettingValue &value) {
  const auto *bytes = reinterpret_cast<const unsigned char *>(value.text.data());
  return ValidateSNMPTrapCfgInput(bytes, static_cast<int>(value.text.size())) == 0
             ? ""
             : "not 1 to 16 printable characters without a blank";
}

std::string checkHostId(const SettingValue &value) {
  return ValidateHostID(value.text.c_str()) == 0 ? "" : "none of HostName, SerialNum and AssetTag";
}

std::string checkAuthentication(const SettingValue &value) {
  return ValidateAUTHProtocol(value.text.c_str()) == 0 ? "" : "none of SHA, MD5, NONE, SHA256, SHA384 and SHA512";
}

std::string checkPrivacy(const SettingValue &value) {
  return ValidatePrivProtocol(value.text.c_str()) == 0 ? "" : "none of AES, DES, NONE and AES128";
}

std::string checkEngineId(const SettingValue &value) {
  return reasonOf([&] { return ValidateSNMPTrapCfgEngineID(value.text.c_str(), -1) == 0; },
                  "not 5 to 24 octets in hexadecimal digits");
}

}  // namespace vexora::tool
