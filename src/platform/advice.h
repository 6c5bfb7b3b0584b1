// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace vexora {

/// A stored record of the advice table: its text is `count` lines from kAdviceLines[first] on.
struct AdviceRecord {
  std::uint8_t key[4];
  std::uint16_t first;
  std::uint16_t count;
};
static_assert(sizeof(AdviceRecord) == 8);

}  // namespace vexora
