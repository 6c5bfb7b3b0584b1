// SPDX-License-Identifier: Apache-2.0
//
// The meaning of a subscription file, for test and fuzz target: a plain model that reads with the C library's scanner
// and the format's original patterns.
#pragma once

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
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
               (std::sscanf(line, R"(%127[^=]="%127[^"]")", key, value) == 2 ||
                std::sscanf(line, "%127[^=]='%127[^']'", key, value) == 2 ||
                std::sscanf(line, "%127[^=]=%127[^;#]", key, value) == 2)) {
      value[std::strcspn(value, "\r\n")] = '\0';
      sections[number - 1][key] = value;
    }
  }
  std::fclose(stream);
  return sections;
}

// A section as the library writes it, from present and type, the destination and the values of the other keys.
inline std::string section(int number, std::pair<int, int> numbers, const std::string &destination,
                           const std::function<std::string(const std::string &)> &value) {
  std::string text = "[SubScription" + std::to_string(number) + "]\r\npresent=" + std::to_string(numbers.first) +
                     "\r\ndestaddr=" + destination + "\r\ntype=" + std::to_string(numbers.second) + "\r\n";
  for (const char *key : {"hcontent", "hdataver", "hxauth", "context", "protocal"}) {
    text += std::string(key) + "=" + value(key) + "\r\n";
  }
  for (int i = 0; i < 2 * VEXORA_EVENT_FILTERS; ++i) {
    const std::string key =
        (i < VEXORA_EVENT_FILTERS ? "messageid" : "resource") + std::to_string(i % VEXORA_EVENT_FILTERS);
    text += key + "=" + value(key) + "\r\n";
  }
  return text + "\r\n";
}

// The file as the library writes it after it has read it.
inline std::string rewritten(const std::string &file) {
  std::string text;
  for (int number = 0; auto &values : sectionsOf(file)) {
    const auto numberOf = [&](const char *key) { return std::strtol(values[key].c_str(), nullptr, 10); };
    text += section(number++, {numberOf("present") & 255, numberOf("type") & 31}, values["destaddr"],
                    [&](const std::string &key) { return values[key]; });
  }
  return text;
}

}  // namespace vexora::test
