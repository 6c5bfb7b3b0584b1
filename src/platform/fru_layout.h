// SPDX-License-Identifier: Apache-2.0
//
// FRU inventory images: a header with the areas' offsets, and areas of fields, each a type/length byte and its data.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vexora::fru {

inline constexpr std::size_t kHeaderSize = 8;
inline constexpr std::size_t kUnit = 8;             // of offsets and of areas' lengths
inline constexpr std::uint8_t kFormat = 1;          // of the header and the areas
inline constexpr std::uint8_t kLengthBits = 0x3F;   // in a type/length byte
inline constexpr std::uint8_t kEndOfFields = 0xC1;  // instead of a type/length byte

}  // namespace vexora::fru
