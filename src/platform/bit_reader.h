// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace vexora::uefi {

/// Takes a bit stream from its bytes, the highest bit of each first. Past the last byte it goes on with zeros.
class BitReader {
 public:
  /// Bits that can be taken after a refill, at least.
  static constexpr unsigned kRefilled = 56;

  BitReader(const std::uint8_t *bytes, std::size_t size) : at_(bytes), left_(size) { refill(); }

  void refill() {
    if (left_ < sizeof buffer_) [[unlikely]] {
      refillNearEnd();
      return;
    }
    // What doesn't fill a byte is read again next time: it meets its own bits in the buffer and changes nothing.
    buffer_ |= loadBig64(at_) >> count_;
    const unsigned bytes = (63 - count_) / 8;
    at_ += bytes;
    left_ -= bytes;
    count_ |= kRefilled;
  }

  /// The next `number` bits, 1 to 32, without taking them.
  [[nodiscard]] std::uint32_t peek(unsigned number) const {
    return static_cast<std::uint32_t>(buffer_ >> (64 - number));
  }

  void skip(unsigned number) {
    buffer_ <<= number;
    count_ -= number;
  }

  /// Takes 0 to 32 bits.
  std::uint32_t take(unsigned number) {
    const auto bits = static_cast<std::uint32_t>(buffer_ >> 1 >> (63 - number));
    skip(number);
    return bits;
  }

 private:
  static std::uint64_t loadBig64(const std::uint8_t *at) {
    return std::uint64_t{at[0]} << 56 | std::uint64_t{at[1]} << 48 | std::uint64_t{at[2]} << 40 |
           std::uint64_t{at[3]} << 32 | std::uint64_t{at[4]} << 24 | std::uint64_t{at[5]} << 16 |
           std::uint64_t{at[6]} << 8 | std::uint64_t{at[7]};
  }

  // With no byte left the shifts alone provide the zeros, and the count, which may wrap, is looked at no more.
  void refillNearEnd() {
    for (; left_ > 0 && count_ <= kRefilled; ++at_, --left_, count_ += 8) {
      buffer_ |= std::uint64_t{*at_} << (kRefilled - count_);
    }
  }

  const std::uint8_t *at_;
  std::size_t left_;
  std::uint64_t buffer_ = 0;  // the next bits, from the highest down
  unsigned count_ = 0;        // how many of them come from the bytes, 64 at most
};

}  // namespace vexora::uefi
