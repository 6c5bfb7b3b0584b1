// SPDX-License-Identifier: Apache-2.0
//
// Little-endian fields at any alignment, as files, requests and answers have them.
#pragma once

#include <cstdint>

namespace vexora {

inline std::uint32_t loadLittle32(const std::uint8_t *at) {
  return std::uint32_t{at[0]} | std::uint32_t{at[1]} << 8 | std::uint32_t{at[2]} << 16 | std::uint32_t{at[3]} << 24;
}

inline void storeLittle32(std::uint8_t *at, std::uint32_t value) {
  at[0] = static_cast<std::uint8_t>(value);
  at[1] = static_cast<std::uint8_t>(value >> 8);
  at[2] = static_cast<std::uint8_t>(value >> 16);
  at[3] = static_cast<std::uint8_t>(value >> 24);
}

}  // namespace vexora
