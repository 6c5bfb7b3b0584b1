// SPDX-License-Identifier: Apache-2.0
//
// The retry counter and the bit fields.

#include <algorithm>
#include <bit>

#include "vexora/diag.h"

namespace {

constexpr int kByteBits = 8;
constexpr int kWordBits = 32;

constexpr bool hasBit(unsigned value, int position) { return (value >> position & 1U) != 0; }

}  // namespace

int is_retry_done(unsigned char *counter, int limit) {
  if (counter == nullptr) {
    return -1;
  }
  if (*counter >= limit) {
    return 1;
  }
  *counter = static_cast<unsigned char>(*counter + 1);
  return 0;
}

unsigned char vexora_getbits(unsigned value, unsigned mask) {
  unsigned picked = 0;
  for (int position = kByteBits - 1; position >= 0; --position) {
    if (hasBit(mask, position)) {
      picked = picked << 1 | (value >> position & 1U);
    }
  }
  return static_cast<unsigned char>(picked);
}

unsigned char vexora_setbits(unsigned mask, unsigned value) {
  unsigned spread = 0;
  for (int position = 0; position < kByteBits; ++position) {
    if (hasBit(mask, position)) {
      spread |= (value & 1U) << position;
      value >>= 1;
    }
  }
  return static_cast<unsigned char>(spread);
}

unsigned char vexora_getbitset_num(unsigned value, unsigned mask) {
  return static_cast<unsigned char>(std::popcount(value & mask));
}

unsigned getBits(unsigned value, int high, int low) {
  const int last = std::min(high, kWordBits - 1);
  unsigned mask = 0;
  for (int position = std::max(low, 0); position <= last; ++position) {
    mask |= 1U << position;
  }
  return value & mask;
}
