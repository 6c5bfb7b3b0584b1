// SPDX-License-Identifier: Apache-2.0
//
// Word lookups against their floor: a scan of the same table with strcmp, without any check of arguments.

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "ratio.h"
#include "table.h"
#include "vexora/text.h"

namespace {

using benchmark::State;
using vexora::bench::compare;

// A scan that ends at the first word takes hardly longer than a call into the library.
constexpr double kAim = 2.0;
constexpr int kCalls = 20000;

int scan(const char **table, const char *text, int count) {
  for (int slot = 0; slot < count; ++slot) {
    if (table[slot] != nullptr && std::strcmp(table[slot], text) == 0) {
      return slot;
    }
  }
  return -1;
}

void wordToIndex(State &state, const char *word, int expected) {
  // In memory that the compiler knows nothing of, as a caller's text is.
  const std::string text = word;
  unsigned char index = 0;
  compare(
      state, kAim, kCalls,
      [&] { return (ValidateSyslogProtocalStrToIndex(text.c_str(), &index) == 0 ? index : -1) == expected; },
      [&] { return scan(SyslogProtocalStr, text.c_str(), 6) == expected; });
}

BENCHMARK_CAPTURE(wordToIndex, first word, "UDP", 0)->UseManualTime();
BENCHMARK_CAPTURE(wordToIndex, last word, "TLSTwoWay", 3)->UseManualTime();
BENCHMARK_CAPTURE(wordToIndex, no word, "TLSThreeWay", -1)->UseManualTime();

void membership(State &state) {
  const std::string text = "SHA512";
  compare(
      state, kAim, kCalls, [&] { return ValidateAUTHProtocol(text.c_str()) == 0; },
      [&] { return scan(AuthProtocols, text.c_str(), 6) == 5; });
}

BENCHMARK(membership)->UseManualTime();

}  // namespace

int main(int argc, char **argv) { return vexora::bench::runTable(argc, argv); }
