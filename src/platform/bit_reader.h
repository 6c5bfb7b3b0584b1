// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>

namespace vexora::uefi {

/// Takes a bit stream from its bytes, the highest bit of each first. Past the last byte it goes on with zeros. The next
/// 16 bits at least are in the buffer, a word of the machine, whenever nothing is being taken.
class BitReader {
  using Word = std::size_t;
  static constexpr int kBits = sizeof(Word) * CHAR_BIT;

 public:
  BitReader(const std::uint8_t *bytes, std::size_t size)
      : at_(bytes), wholeHalves_(bytes + size / kHalf * kHalf), end_(bytes + size) {
    refill();
    refill();
  }

  /// The next 32 bits of a reader that nothing was taken from yet.
  [[nodiscard]] std::uint32_t first() const { return static_cast<std::uint32_t>(buffer_ >> (kBits - 32)); }

  /// The next `number` bits, 1 to 16, without taking them.
  [[nodiscard]] std::uint32_t peek(unsigned number) const {
    return static_cast<std::uint32_t>(buffer_ >> (kBits - number));
  }

  /// Passes over 0 to 16 bits.
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

  /// Takes a number of 0 to 17 bits whose highest bit, always set, is left out in the stream.
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
    // A sum: in shifted bits gcc sees a swap, which takes ARM four instructions more.
    return at[0] * 256U + at[1];
  }

  /// Appends half a word to the bits of the buffer.
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
  const std::uint8_t *wholeHalves_;  // the end of those bytes that make halves
  const std::uint8_t *end_;
  Word buffer_ = 0;  // the next bits, from the highest down
  int spare_ = -16;  // how many more than 16 they are
};

}  // namespace vexora::uefi
