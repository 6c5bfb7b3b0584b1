// SPDX-License-Identifier: Apache-2.0

#include "uefi/matches.h"

#include <algorithm>
#include <bit>

namespace vexora::uefi {
namespace {

struct Match {
  std::size_t length = 0;
  std::size_t position = 0;
};

/// Estimates the bits that a match saves: the bits of its literals less those of its two symbols and its distance.
long savedBits(const Match &match) {
  constexpr long kLiteralBits = 7;
  constexpr long kSymbolBits = 10;
  if (match.length == 0) {
    return 0;
  }
  return kLiteralBits * static_cast<long>(match.length) - kSymbolBits -
         static_cast<long>(std::bit_width(match.position));
}

/// Hash chains: for each hash of three bytes its places in the window, from the newest to the oldest.
class Chains {
 public:
  Chains(std::span<const std::uint8_t> data, std::size_t window, std::size_t tries)
      : data_(data), tries_(tries), newest_(std::size_t{1} << kHashBits, kNone), older_(window, kNone) {}

  /// Returns the best match at a place and adds the place to the chains.
  Match take(std::size_t at) {
    const Match match = best(at);
    add(at);
    return match;
  }

  void add(std::size_t at) {
    if (data_.size() - at >= kMinMatch) {
      std::uint32_t &newest = newest_[hash(at)];
      older_[at % older_.size()] = newest;
      newest = static_cast<std::uint32_t>(at);
    }
  }

 private:
  static constexpr std::uint32_t kNone = UINT32_MAX;
  static constexpr unsigned kHashBits = 16;

  [[nodiscard]] std::size_t hash(std::size_t at) const {
    const std::uint32_t bytes = data_[at] | std::uint32_t{data_[at + 1]} << 8 | std::uint32_t{data_[at + 2]} << 16;
    return bytes * 0x9E37'79B1U >> (32 - kHashBits);
  }

  [[nodiscard]] std::size_t commonLength(std::size_t first, std::size_t second, std::size_t most) const {
    std::size_t length = 0;
    while (length < most && data_[first + length] == data_[second + length]) {
      ++length;
    }
    return length;
  }

  [[nodiscard]] Match best(std::size_t at) const {
    Match best;
    const std::size_t most = std::min(data_.size() - at, kMaxMatch);
    if (most < kMinMatch) {
      return best;
    }
    std::uint32_t place = newest_[hash(at)];
    for (std::size_t left = tries_; left > 0 && place != kNone && at - place <= older_.size(); --left) {
      // Only a longer match can be better: each place is farther than the one before.
      if (best.length < most && data_[place + best.length] == data_[at + best.length]) {
        const Match match = {commonLength(place, at, most), at - place - 1};
        if (match.length >= kMinMatch && savedBits(match) > savedBits(best)) {
          best = match;
        }
      }
      place = older_[place % older_.size()];
    }
    return best;
  }

  std::span<const std::uint8_t> data_;
  std::size_t tries_;
  std::vector<std::uint32_t> newest_;
  std::vector<std::uint32_t> older_;
};

}  // namespace

std::vector<Token> findMatches(std::span<const std::uint8_t> data, std::size_t window, std::size_t tries) {
  std::vector<Token> tokens;
  Chains chains(data, window, tries);
  const auto take = [&](std::size_t at) { return at < data.size() ? chains.take(at) : Match{}; };
  Match here = take(0);
  for (std::size_t at = 0; at < data.size();) {
    const Match next = take(at + 1);
    if (here.length == 0 || savedBits(next) > savedBits(here)) {
      tokens.push_back({0, 1, data[at]});
      here = next;
      ++at;
      continue;
    }
    tokens.push_back({static_cast<std::uint32_t>(here.position), static_cast<std::uint16_t>(here.length), 0});
    const std::size_t end = at + here.length;
    for (at += 2; at < end; ++at) {
      chains.add(at);
    }
    here = take(end);
  }
  return tokens;
}

}  // namespace vexora::uefi
