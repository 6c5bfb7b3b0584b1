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

/// A complete prefix code for up to `kSymbols` symbols (512 at most), defined by the lengths of its code words. Words
/// of one length are consecutive numbers in the order of their symbols, after all shorter words. Words of up to
/// `kTableBits` bits are found by one table lookup, longer ones by comparison with the end of each length's words.
template <unsigned kTableBits, unsigned kSymbols>
class PrefixCode {
 public:
  /// Builds the code. `lengths` has 0 to 16 for each symbol, 0 for a symbol that doesn't occur. Returns false, with the
  /// code unusable, when the lengths make an incomplete or ambiguous code.
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

  /// Builds the code of a single symbol, 511 at most, whose word has no bits.
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
  // Table entries: the word's length and, above it, the symbol; kLong for the prefix of longer words.
  static constexpr unsigned kSymbolShift = 4;
  static constexpr unsigned kLengthMask = (1U << kSymbolShift) - 1;
  static constexpr std::uint16_t kLong = 0xFFFF;

  static std::uint16_t entryOf(std::uint32_t symbol, unsigned length) {
    return static_cast<std::uint16_t>(symbol << kSymbolShift | length);
  }

  /// Computes ends_ and slotOffsets_, and in `slots` the position of each length's first symbol in ordered_.
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
      // May wrap below 0; readLong() wraps it back.
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
    // The code is complete, so the last end is above every value of 16 bits.
    while (window >= ends_[length]) {
      ++length;
    }
    bits.skip(length);
    return ordered_[static_cast<std::uint16_t>(slotOffsets_[length] + (window >> (kMaxWord - length)))];
  }

  std::array<std::uint16_t, 1U << kTableBits> table_;
  std::array<std::uint16_t, kSymbols> ordered_;   // the symbols in the order of their words
  std::array<std::uint32_t, kMaxWord + 1> ends_;  // by length: end of the 16-bit values that begin with its words
  std::array<std::uint16_t, kMaxWord + 1> slotOffsets_;  // by length: difference of word and position in ordered_
};

}  // namespace vexora::uefi
