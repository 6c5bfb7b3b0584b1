// SPDX-License-Identifier: Apache-2.0
//
// Compression of UEFI images; the library's UefiTianoDecompress unpacks them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace vexora::uefi {

/// The forms of compressed images; the values are the versions for UefiTianoDecompress.
enum class Version : std::uint32_t { kUefi = 1, kTiano = 2 };

/// The effort, and restrictions that produce streams of a certain shape for tests.
struct Options {
  bool matches = true;           // false: literals only
  bool longWords = false;        // code words as long as possible instead of as short as possible
  std::size_t blockSymbols = 0;  // symbols per block, at most 65,535; 0: the sizes that save most bits
  std::size_t tries = 128;       // earlier places to compare each place with
};

/// Returns the compressed image with its header, or nothing when the header's 32 bits can't give the data's size.
std::vector<std::uint8_t> compress(std::span<const std::uint8_t> data, Version version, const Options &options = {});

}  // namespace vexora::uefi
