// SPDX-License-Identifier: Apache-2.0
//
// Writing the advice table, against clearing and copying the same number of bytes.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "table.h"
#include "vexora/platform.h"

namespace {

constexpr int kCalls = 10;

void adviceTable(vexora::bench::Table &table) {
  std::vector<std::uint8_t> out(VEXORA_IDL_ADVICE_TABLE);
  std::vector<std::uint8_t> other(VEXORA_IDL_ADVICE_TABLE);
  const std::vector<std::uint8_t> from(VEXORA_IDL_ADVICE_TABLE, 1);
  table.compare(
      "advice-table", {.host = 0.6, .board = 1.05}, kCalls, [&] { return GetIdlAdviserArray(out.data()) == 0; },
      [&] {
        std::memset(other.data(), 0, other.size());
        vexora::bench::touchMemory();
        std::memcpy(other.data(), from.data(), from.size());
        vexora::bench::touchMemory();
        return true;
      });
}

}  // namespace

int main(int argc, char **argv) {
  vexora::bench::Table table(argc, argv);
  adviceTable(table);
  return table.status();
}
