// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>

namespace vexora::uefi {

/// Reads bits from bytes, the highest bit of each byte first; zeros after the last byte. Invariant: between two calls
/// the buffer, a machine word, holds at least the next 16 bits.
class BitReader {
  using Word = std::size_t;
  static constexpr int kBits = sizeof(Word) * CHAR_BIT;

 public:
  BitReader(const std::uint8_t *bytes, std::size_t size)
      : at_(bytes), wholeHalves_(bytes + size / kHalf * kHalf), end_(bytes + size) {
    refill();
    refill();
  }

  /// Returns the first 32 bits; only before anything was taken.
  [[nodiscard]] std::uint32_t first() const { return static_cast<std::uint32_t>(buffer_ >> (kBits - 32)); }

  /// Returns the next `number` bits, 1 to 16, without taking them.
  [[nodiscard]] std::uint32_t peek(unsigned number) const {
    return static_cast<std::uint32_t>(buffer_ >> (kBits - number));
  }

  /// Skips 0 to 16 bits.
  void skip(unsigned number) {
    buffer_ <<= number;
    spare_ -= static_cast<int>(number);
    if (spare_ < 0) {
      refill();
    }
  }

  /// Takes 0 to 16 bits.
  std::uint32_t take(unsigned number) {
    const auto bits = static_cast<std::uint32_t>(buffer_ >> 1 >> (kBits - 1 - number));
    skip(number);
    return bits;
  }

  static constexpr unsigned kWidestNumber = 17;

  /// Takes a number of 0 to 17 bits. Its highest bit is always set, and not in the stream.
  std::uint32_t takeNumber(unsigned width) {
    constexpr Word kHighest = Word{1} << (kBits - 1);
    const Word number = (kHighest | buffer_ >> 1) >> 1 >> (kBits - 1 - width);
    skip(width - (width != 0 ? 1 : 0));
    return static_cast<std::uint32_t>(number);
  }

 private:
  static constexpr std::size_t kHalf = sizeof(Word) / 2;

  static std::uint32_t loadHalf(const std::uint8_t *at) {
    if constexpr (kHalf == 4) {
      return std::uint32_t{at[0]} << 24 | std::uint32_t{at[1]} << 16 | std::uint32_t{at[2]} << 8 | at[3];
    }
    // A sum: gcc recognises shifted bits as a byte swap, which costs four more instructions on ARM.
    return at[0] * 256U + at[1];
  }

  /// Appends 16 or 32 bits to the buffer: half a machine word.
  void refill() {
    Word half = 0;
    if (at_ < wholeHalves_) [[likely]] {
      half = loadHalf(at_);
      at_ += kHalf;
    } else {
      for (std::size_t i = 0; i < kHalf; ++i) {
        half = half << CHAR_BIT | (at_ != end_ ? *at_++ : 0U);
      }
    }
    buffer_ |= half << (kBits / 2 - 16 - spare_);
    spare_ += kBits / 2;
  }

  const std::uint8_t *at_;
  const std::uint8_t *wholeHalves_;  // end of the bytes that fill whole halves
  const std::uint8_t *end_;
  Word buffer_ = 0;  // the next bits, from the highest down
  int spare_ = -16;  // number of buffered bits beyond 16
};

}  // namespace vexora::uefi
