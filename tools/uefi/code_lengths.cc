// SPDX-License-Identifier: Apache-2.0

#include "uefi/code_lengths.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace vexora::uefi {
namespace {

constexpr std::size_t kMaxWord = 16;

/// Returns the word lengths for two or more leaves of ascending weight, by the package-merge method. Each of 16 levels
/// lists the leaves and the pairs of the level before, by weight. The first 2n - 2 entries of the last level are
/// selected, and the two entries of each selected pair in the level before. A leaf's word is as long as the number of
/// levels where the leaf is selected.
std::vector<std::uint8_t> limitedLengths(const std::vector<std::uint64_t> &leaves) {
  std::array<std::vector<bool>, kMaxWord> isPair;
  std::vector<std::uint64_t> level;
  for (std::vector<bool> &pairs : isPair) {
    std::vector<std::uint64_t> merged;
    std::size_t pair = 0;
    for (std::size_t leaf = 0; leaf < leaves.size() || pair + 1 < level.size();) {
      const bool pairLeft = pair + 1 < level.size();
      const std::uint64_t pairWeight = pairLeft ? level[pair] + level[pair + 1] : 0;
      const bool takesPair = pairLeft && (leaf == leaves.size() || pairWeight < leaves[leaf]);
      merged.push_back(takesPair ? pairWeight : leaves[leaf]);
      pairs.push_back(takesPair);
      (takesPair ? pair : leaf) += takesPair ? 2 : 1;
    }
    level = std::move(merged);
  }

  std::vector<std::uint8_t> lengths(leaves.size(), 0);
  auto taken = static_cast<std::ptrdiff_t>(2 * leaves.size() - 2);
  std::reverse(isPair.begin(), isPair.end());
  for (const std::vector<bool> &pairs : isPair) {
    const std::ptrdiff_t pairsTaken = std::count(pairs.begin(), pairs.begin() + taken, true);
    std::for_each_n(lengths.begin(), taken - pairsTaken, [](std::uint8_t &length) { ++length; });
    taken = 2 * pairsTaken;
  }
  return lengths;
}

/// Numbers the words: the shorter ones first, those of one length in the order of their symbols.
std::vector<std::uint16_t> numberWords(const std::vector<std::uint8_t> &lengths) {
  std::vector<std::uint16_t> words(lengths.size());
  std::uint32_t next = 0;
  for (std::size_t length = 1; length <= kMaxWord; ++length, next <<= 1) {
    for (std::size_t symbol = 0; symbol < lengths.size(); ++symbol) {
      if (lengths[symbol] == length) {
        words[symbol] = static_cast<std::uint16_t>(next++);
      }
    }
  }
  return words;
}

}  // namespace

PrefixWords makeCode(std::span<const std::uint32_t> frequencies, bool longWords) {
  std::vector<std::size_t> symbols;
  for (std::size_t symbol = 0; symbol < frequencies.size(); ++symbol) {
    if (frequencies[symbol] != 0) {
      symbols.push_back(symbol);
    }
  }
  PrefixWords code{std::vector<std::uint8_t>(frequencies.size()), std::vector<std::uint16_t>(frequencies.size()), {}};
  if (symbols.size() <= 1) {
    code.single = symbols.empty() ? 0 : static_cast<std::uint32_t>(symbols[0]);
    return code;
  }
  std::stable_sort(symbols.begin(), symbols.end(),
                   [&](std::size_t a, std::size_t b) { return frequencies[a] < frequencies[b]; });
  std::vector<std::uint64_t> weights(symbols.size());
  for (std::size_t rank = 0; rank < symbols.size(); ++rank) {
    weights[rank] = longWords ? std::uint64_t{1} << std::min<std::size_t>(rank, 40) : frequencies[symbols[rank]];
  }
  const std::vector<std::uint8_t> lengths = limitedLengths(weights);
  for (std::size_t rank = 0; rank < symbols.size(); ++rank) {
    code.lengths[symbols[rank]] = lengths[rank];
  }
  code.words = numberWords(code.lengths);
  return code;
}

}  // namespace vexora::uefi
