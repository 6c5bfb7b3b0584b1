// SPDX-License-Identifier: Apache-2.0
//
// Event subscription files, compared with a plain model that reads them by the platform's own scanner: the patterns in
// which the format was first written down. What was loaded is also written and freed.

#include <array>
#include <cstring>
#include <map>
#include <string>

#include "target.h"
#include "vexora/config.h"

namespace {

constexpr const char *kFile = "/conf/eventsubscriptions.conf";

using Section = std::map<std::string, std::string>;

std::array<Section, 4> readByModel(const std::uint8_t *data, std::size_t size) {
  std::array<Section, 4> sections;
  int current = -1;
  std::FILE *const file = fmemopen(const_cast<std::uint8_t *>(data), size, "r");
  char line[128];
  while (file != nullptr && std::fgets(line, sizeof line, file) != nullptr) {
    char key[128] = "";
    char value[128] = "";
    if (std::sscanf(line, "[%127[^]]", key) == 1) {
      ++current;
    } else if (current >= 0 && current < 4 && std::strchr(line, '=') != nullptr &&
               (std::sscanf(line, "%127[^=]=\"%127[^\"]\"", key, value) == 2 ||
                std::sscanf(line, "%127[^=]='%127[^']'", key, value) == 2 ||
                std::sscanf(line, "%127[^=]=%127[^;#]", key, value) == 2)) {
      value[std::strcspn(value, "\n")] = '\0';
      value[std::strcspn(value, "\r")] = '\0';
      sections[static_cast<std::size_t>(current)][key] = value;
    }
  }
  if (file != nullptr) {
    std::fclose(file);
  }
  return sections;
}

void expectString(const char *string, Section &section, const std::string &key) {
  const std::string &expected = section[key];
  require(expected == "N/A" ? string == nullptr : string != nullptr && expected == string, key.c_str());
}

void expectSlot(const EventSubScriptionRecord &slot, Section &section) {
  const auto number = [&](const char *key) { return std::strtol(section[key].c_str(), nullptr, 10); };
  require(slot.present == static_cast<std::uint8_t>(number("present")), "present");
  require(slot.type == (number("type") & 31), "type");
  expectString(slot.destaddr, section, "destaddr");
  expectString(slot.hcontent, section, "hcontent");
  expectString(slot.hdataver, section, "hdataver");
  expectString(slot.hxauth, section, "hxauth");
  expectString(slot.context, section, "context");
  expectString(slot.protocal, section, "protocal");
  for (std::size_t i = 0; i < VEXORA_EVENT_FILTERS; ++i) {
    expectString(slot.messageid[i], section, "messageid" + std::to_string(i));
    expectString(slot.resource[i], section, "resource" + std::to_string(i));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  putFile(kFile, data, size);
  blEventSubScriptionsFlag = 0;
  require(GetEventSubScriptionFromConfFile(&blEventSubScriptionsFlag, stEventSubScriptionStore) == 0, "a load");
  auto sections = readByModel(data, size);
  for (std::size_t slot = 0; slot < sections.size(); ++slot) {
    expectSlot(stEventSubScriptionStore[slot], sections[slot]);
  }
  require(SetEventSubScription2ConfFile(0, stEventSubScriptionStore) == 0, "a write");
  require(dwEventSubScriptionStoreMemFree(0, 4, 9, stEventSubScriptionStore) == 0, "a release");
  return 0;
}
