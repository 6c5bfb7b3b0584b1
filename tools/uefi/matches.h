// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace vexora::uefi {

inline constexpr std::size_t kMinMatch = 3;
inline constexpr std::size_t kMaxMatch = 256;

/// A literal byte if `length` is 1, else a match that begins `position` + 1 bytes earlier.
struct Token {
  std::uint32_t position;
  std::uint16_t length;
  std::uint8_t literal;
};

/// Splits data into literals and matches at most `window` bytes back, a power of two. Compares each place with up to
/// `tries` earlier ones, and prefers a literal to a match if the next place has a better match.
std::vector<Token> findMatches(std::span<const std::uint8_t> data, std::size_t window, std::size_t tries);

}  // namespace vexora::uefi
