// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace vexora {

/// A record of the advice table as the library keeps it: `count` lines from kAdviceLines[first] on make its text.
struct AdviceRecord {
  std::uint8_t key[4];
  std::uint16_t first;
  std::uint16_t count;
};
static_assert(sizeof(AdviceRecord) == 8);

}  // namespace vexora
