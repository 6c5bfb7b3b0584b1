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
#include <utility>

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
  const char *const path = "/extlog/syslog/guarded";
  const int written = vexora_string_write_2_file_with_crc32_check(path, "kept");
  const std::unique_ptr<char, Release> text(vexora_string_read_file_with_crc32_check(path));
  return written == 0 && text != nullptr && std::string(text.get()) == "kept";
}

}  // namespace

int main() {
  const std::array<uint8_t, 2> bytes = {0x0A, 0xF5};
  std::array<char, 5> digits = {};
  EventArray event;
  EventArrayMemInit(&event);
  VexoraDebug(3, "IPMI", "off by default: %d\n", 1);
  const std::pair<const char *, bool> findings[] = {
      {"containers", keepsTheNewest()},
      {"config", event.message == nullptr},
      {"history", historyDataInit() == 0 && HistoryDataRing->count == 0},
      {"ipc", vexora_openpipe(nullptr) == -1},
      {"platform", PMBUS_LinearFormatDataCalc(12, 31, nullptr) == 0},
      {"security", vexora_convert_hextostr(bytes.data(), digits.data(), 2, 5) == 0 && digits[3] == '5'},
      {"storage", writesAndReadsGuardedFiles()},
      {"text", vexora_isvalid_ipv4("10.0.0.1") == 0},
  };
  int wrong = 0;
  for (const auto &[family, holds] : findings) {
    std::cerr << (holds ? "" : std::string("wrong: ") + family + '\n');
    wrong += holds ? 0 : 1;
  }
  return wrong;
}
