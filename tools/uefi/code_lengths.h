// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace vexora::uefi {

/// A prefix code: each symbol's word, its length and bits. The word of a `single` symbol has no bits.
struct PrefixWords {
  std::vector<std::uint8_t> lengths;
  std::vector<std::uint16_t> words;
  std::optional<std::uint32_t> single;
};

/// Returns the shortest code for these frequencies with words of at most 16 bits. `longWords` makes words as long as
/// possible instead, the rarer the longer.
PrefixWords makeCode(std::span<const std::uint32_t> frequencies, bool longWords);

}  // namespace vexora::uefi
