// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/bit_reader.h"

namespace vexora::uefi {

inline constexpr unsigned kMaxWord = 16;

/// A complete prefix code for up to `kSymbols` symbols (512 at most), given by the lengths of its words. Words of one
/// length are consecutive numbers in the order of their symbols, behind all shorter words, so the lengths tell the
/// code. Words of up to `kTableBits` bits are looked up at once; longer ones are found by where each length's words
/// end.
template <unsigned kTableBits, unsigned kSymbols>
class PrefixCode {
 public:
  /// Makes the code; `lengths` has one of 0 to 16 for each symbol, 0 for one that doesn't occur. False, and no code,
  /// when some bits begin no word or more than one.
  bool build(std::span<const std::uint8_t> lengths) {
    std::array<std::uint16_t, kMaxWord + 1> slots{};
    if (!orderLengths(lengths, slots)) {
      return false;
    }
    for (std::size_t symbol = 0; symbol < lengths.size(); ++symbol) {
      if (lengths[symbol] != 0) {
        ordered_[slots[lengths[symbol]]++] = static_cast<std::uint16_t>(symbol);
      }
    }
    fillTable(lengths);
    return true;
  }

  /// Makes the code of a single symbol, 511 at most, whose word has no bits.
  void buildSingle(std::uint32_t symbol) { table_.fill(entryOf(symbol, 0)); }

  /// Takes a word's 0 to 16 bits; returns its symbol.
  std::uint32_t read(BitReader &bits) const {
    const std::uint32_t entry = table_[bits.peek(kTableBits)];
    if (entry == kLong) [[unlikely]] {
      return readLong(bits);
    }
    bits.skip(entry & kLengthMask);
    return entry >> kSymbolShift;
  }

 private:
  static_assert(kSymbols <= 512 && kTableBits < 15);
  // Table entries: a word's length, above it the symbol; or kLong for the beginnings of longer words.
  static constexpr unsigned kSymbolShift = 4;
  static constexpr unsigned kLengthMask = (1U << kSymbolShift) - 1;
  static constexpr std::uint16_t kLong = 0xFFFF;

  static std::uint16_t entryOf(std::uint32_t symbol, unsigned length) {
    return static_cast<std::uint16_t>(symbol << kSymbolShift | length);
  }

  /// Finds where the words of each length begin and end, and in `slots` where their symbols go.
  bool orderLengths(std::span<const std::uint8_t> lengths, std::array<std::uint16_t, kMaxWord + 1> &slots) {
    std::array<std::uint16_t, kMaxWord + 1> numbers{};
    for (const std::uint8_t length : lengths) {
      ++numbers[length];
    }
    std::uint32_t window = 0;
    std::uint32_t slot = 0;
    for (unsigned length = 1; length <= kMaxWord; ++length) {
      const unsigned shift = kMaxWord - length;
      slots[length] = static_cast<std::uint16_t>(slot);
      // Wraps when the words' numbers exceed their slots, and back again in readLong().
      slotOffsets_[length] = static_cast<std::uint16_t>(slot - (window >> shift));
      window += std::uint32_t{numbers[length]} << shift;
      slot += numbers[length];
      ends_[length] = window;
    }
    return window == 1U << kMaxWord;
  }

  void fillTable(std::span<const std::uint8_t> lengths) {
    auto at = table_.begin();
    for (auto symbol = ordered_.begin(); at != table_.end() && lengths[*symbol] <= kTableBits; ++symbol) {
      const unsigned length = lengths[*symbol];
      at = std::fill_n(at, 1U << (kTableBits - length), entryOf(*symbol, length));
    }
    std::fill(at, table_.end(), kLong);
  }

  std::uint32_t readLong(BitReader &bits) const {
    const std::uint32_t window = bits.peek(kMaxWord);
    unsigned length = kTableBits + 1;
    // The code is complete, so the longest words end behind every window.
    while (window >= ends_[length]) {
      ++length;
    }
    bits.skip(length);
    return ordered_[static_cast<std::uint16_t>(slotOffsets_[length] + (window >> (kMaxWord - length)))];
  }

  std::array<std::uint16_t, 1U << kTableBits> table_;
  std::array<std::uint16_t, kSymbols> ordered_;          // the symbols, by their words
  std::array<std::uint32_t, kMaxWord + 1> ends_;         // behind the last 16 bits that begin with a length's word
  std::array<std::uint16_t, kMaxWord + 1> slotOffsets_;  // from a length's words to their slots in ordered_
};

}  // namespace vexora::uefi
