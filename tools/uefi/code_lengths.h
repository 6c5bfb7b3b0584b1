// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace vexora::uefi {

/// A prefix code: a word's length and bits for each symbol; or a single symbol, whose word has no bits.
struct PrefixWords {
  std::vector<std::uint8_t> lengths;
  std::vector<std::uint16_t> words;
  std::optional<std::uint32_t> single;
};

/// The code whose words of at most 16 bits take the least room for symbols of these frequencies. With `longWords` one
/// whose words are as long as they may be, the rarer the longer.
PrefixWords makeCode(std::span<const std::uint32_t> frequencies, bool longWords);

}  // namespace vexora::uefi
