// SPDX-License-Identifier: Apache-2.0
//
// Writing the advice table out, against clearing and copying as many bytes.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "ratio.h"
#include "table.h"
#include "vexora/platform.h"

namespace {

constexpr double kAim = 1.0;
constexpr int kCalls = 10;

void adviceTable(benchmark::State &state) {
  std::vector<std::uint8_t> out(VEXORA_IDL_ADVICE_TABLE);
  std::vector<std::uint8_t> other(VEXORA_IDL_ADVICE_TABLE);
  const std::vector<std::uint8_t> from(VEXORA_IDL_ADVICE_TABLE, 1);
  vexora::bench::compare(
      state, kAim, kCalls, [&] { return GetIdlAdviserArray(out.data()) == 0; },
      [&] {
        std::memset(other.data(), 0, other.size());
        benchmark::ClobberMemory();
        std::memcpy(other.data(), from.data(), from.size());
        benchmark::ClobberMemory();
        return true;
      });
}

BENCHMARK(adviceTable)->UseManualTime();

}  // namespace

int main(int argc, char **argv) { return vexora::bench::runTable(argc, argv); }
