// SPDX-License-Identifier: Apache-2.0
//
// Text from users through the validators, each against its grammar. An input's first byte chooses the rule, in
// validator_rules.h's order; the rest is the text, of which 300 bytes are used.

#include "../tests/text/validator_rules.h"
#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const std::vector<vexora::test::Rule> kRules = vexora::test::rules();
  throwOutputAway();
  const std::string text(data, data + std::min<std::size_t>(size, 301));
  require(text.empty() || kRules[*data % kRules.size()].holdsFor(text.substr(1)), "the verdict is the grammar's");
  return 0;
}
