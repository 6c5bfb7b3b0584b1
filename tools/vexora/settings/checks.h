// SPDX-License-Identifier: Apache-2.0
//
// What is wrong with the value of a setting, as the library's validators see it. The empty string stands for nothing.
#pragma once

#include <cstdint>
#include <string>

namespace vexora::tool {

/// A setting's value: a text, or a number where the field is one.
struct SettingValue {
  std::int64_t number = 0;
  std::string text;
};

using SettingCheck = std::string (*)(const SettingValue &value);

std::string checkPort(const SettingValue &value);
std::string checkDeviceType(const SettingValue &value);
std::string checkAddress(const SettingValue &value);
std::string checkMailAddress(const SettingValue &value);
std::string checkMailUser(const SettingValue &value);
std::string checkUser(const SettingValue &value);
std::string checkPassword(const SettingValue &value);
std::string checkPlainText(const SettingValue &value);
std::string checkCommunity(const SettingValue &value);
std::string checkHostId(const SettingValue &value);
std::string checkAuthentication(const SettingValue &value);
std::string checkPrivacy(const SettingValue &value);
std::string checkEngineId(const SettingValue &value);

}  // namespace vexora::tool
