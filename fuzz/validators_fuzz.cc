// SPDX-License-Identifier: Apache-2.0
//
// Text from users through the validators, each against its grammar. An input's first byte chooses the rule, in their
// order in validator_rules.h; the rest is the text, of which 300 bytes are taken.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "../tests/text/validator_rules.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const std::vector<vexora::test::Rule> kRules = vexora::test::rules();
  // Refusals are told, thousands a second.
  static const bool kQuiet = std::freopen("/dev/null", "w", stdout) != nullptr;
  const std::string text(data, data + std::min<std::size_t>(size, 301));
  if (!text.empty() && !kRules[*data % kRules.size()].holdsFor(text.substr(1))) {
    std::abort();
  }
  return kQuiet ? 0 : -1;
}
