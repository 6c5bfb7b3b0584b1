// SPDX-License-Identifier: Apache-2.0
// The same library seen from C++: every public header, and objects that release what its calls hand out.
#include <vexora/config.h>
#include <vexora/containers.h>
#include <vexora/diag.h>
#include <vexora/history.h>
#include <vexora/ipc.h>
#include <vexora/platform.h>
#include <vexora/security.h>
#include <vexora/storage.h>
#include <vexora/text.h>

#include <array>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

namespace {

struct Release {
  void operator()(char *text) const { std::free(text); }
  void operator()(vexora_ringlist *list) const { vexora_ringlist_free(list); }
};

bool keepsTheNewest() {
  const std::unique_ptr<vexora_ringlist, Release> list(vexora_ringlist_init(sizeof(int), 2));
  for (const int number : {7, 8, 9}) {
    vexora_ringlist_push(list.get(), &number);
  }
  int newest = 0;
  return vexora_ringlist_get_tail(list.get(), &newest) == 0 && newest == 9 && list->count == 2;
}

bool writesAndReadsGuardedFiles() {
  const std::string path = "/extlog/syslog/guarded";
  if (vexora_string_write_2_file_with_crc32_check(path.c_str(), "kept") != 0) {
    return false;
  }
  const std::unique_ptr<char, Release> text(vexora_string_read_file_with_crc32_check(path.c_str()));
  return text != nullptr && std::string(text.get()) == "kept";
}

bool convertsAndChecks() {
  const std::array<uint8_t, 2> bytes = {0x0A, 0xF5};
  std::array<char, 5> digits = {};
  float volts = 0;
  EventArray event;
  EventArrayMemInit(&event);
  return vexora_convert_hextostr(bytes.data(), digits.data(), 2, 5) == 0 && std::string(digits.data()) == "0af5" &&
         PMBUS_LinearFormatDataCalc(12, 31, &volts) == 0 && volts > 5.9F && volts < 6.1F && event.message == nullptr &&
         vexora_isvalid_ipv4("10.0.0.1") == 0 && vexora_isvalid_ipv4("10.0.0.256") == -1;
}

}  // namespace

int main() {
  VexoraDebug(3, "IPMI", "off by default: %d\n", 1);
  const struct {
    const char *what;
    bool holds;
  } findings[] = {
      {"level names", std::string(DebugLevelDesc[3]) == "Critical"},
      {"ring list", keepsTheNewest()},
      {"history", historyDataInit() == 0 && HistoryDataRing->count == 0},
      {"pipes", vexora_openpipe(nullptr) == -1},
      {"guarded files", writesAndReadsGuardedFiles()},
      {"conversions and checks", convertsAndChecks()},
  };
  int wrong = 0;
  for (const auto &finding : findings) {
    if (!finding.holds) {
      std::cerr << "wrong: " << finding.what << '\n';
      ++wrong;
    }
  }
  return wrong;
}
