// SPDX-License-Identifier: Apache-2.0
//
// Readings in the LINEAR11 format of the PMBus Power System Management Protocol, Part II: mantissa times two to the
// power of an exponent of five bits in two's complement.

#include <cstdint>

#include "vexora/platform.h"

namespace {

constexpr std::uint32_t kExponentMask = 0x1F;
constexpr std::uint32_t kExponentSign = 0x10;

}  // namespace

int PMBUS_LinearFormatDataCalc(std::uint32_t mantissa, std::uint32_t exponent, float *out) {
  if (out == nullptr) {
    return 0;
  }
  const auto value = static_cast<float>(mantissa);
  if ((exponent & kExponentSign) != 0) {
    const std::uint32_t magnitude = (~exponent & kExponentMask) + 1;
    *out = value / static_cast<float>(1U << magnitude);
  } else {
    *out = value * static_cast<float>(1U << (exponent & kExponentMask));
  }
  return 0;
}
