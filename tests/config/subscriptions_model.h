// SPDX-License-Identifier: Apache-2.0
//
// What a subscription file means, read by the platform's own scanner with the patterns in which the format was first
// written down: the plain model that test and fuzz target compare the library with.
#pragma once

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "vexora/config.h"

namespace vexora::test {

using Section = std::map<std::string, std::string>;  // value by key

inline std::array<Section, VEXORA_EVENT_SUBSCRIPTIONS> sectionsOf(std::string file) {
  std::array<Section, VEXORA_EVENT_SUBSCRIPTIONS> sections;
  std::size_t number = 0;
  std::FILE *const stream = file.empty() ? std::fopen("/dev/null", "re") : fmemopen(file.data(), file.size(), "r");
  for (char line[128]; std::fgets(line, sizeof line, stream) != nullptr;) {
    char key[128] = "";
    char value[128] = "";
    if (std::sscanf(line, "[%127[^]]", key) == 1) {
      ++number;
    } else if (number > 0 && number <= sections.size() && std::strchr(line, '=') != nullptr &&
               (std::sscanf(line, "%127[^=]=\"%127[^\"]\"", key, value) == 2 ||
                std::sscanf(line, "%127[^=]='%127[^']'", key, value) == 2 ||
                std::sscanf(line, "%127[^=]=%127[^;#]", key, value) == 2)) {
      value[std::strcspn(value, "\r\n")] = '\0';
      sections[number - 1][key] = value;
    }
  }
  std::fclose(stream);
  return sections;
}

// The first key in which a slot is not what the section says; empty when it is.
inline std::string difference(const EventSubScriptionRecord &slot, Section &section) {
  const auto number = [&](const char *key) { return std::strtol(section[key].c_str(), nullptr, 10); };
  std::map<std::string, const char *> strings = {{"destaddr", slot.destaddr}, {"hcontent", slot.hcontent},
                                                 {"hdataver", slot.hdataver}, {"hxauth", slot.hxauth},
                                                 {"context", slot.context},   {"protocal", slot.protocal}};
  for (std::size_t i = 0; i < VEXORA_EVENT_FILTERS; ++i) {
    strings["messageid" + std::to_string(i)] = slot.messageid[i];
    strings["resource" + std::to_string(i)] = slot.resource[i];
  }
  for (const auto &[key, string] : strings) {
    if (section[key] != (string == nullptr ? "N/A" : string)) {
      return key;
    }
  }
  const bool sameNumbers =
      slot.present == static_cast<std::uint8_t>(number("present")) && slot.type == (number("type") & 31);
  return sameNumbers ? "" : "present or type";
}

}  // namespace vexora::test
