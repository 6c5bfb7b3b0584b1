// SPDX-License-Identifier: Apache-2.0
//
// Compression of UEFI images, the counterpart of the library's UefiTianoDecompress.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace vexora::uefi {

/// The forms of compressed images; the values are the versions that UefiTianoDecompress takes.
enum class Version : std::uint32_t { kUefi = 1, kTiano = 2 };

/// How hard to try, and what to leave out where a stream of a certain shape is wanted.
struct Options {
  bool matches = true;           // false: literals only
  bool longWords = false;        // code words as long as they may be instead of as short as they can be
  std::size_t blockSymbols = 0;  // symbols a block, at most 65,535; 0: wherever it saves bits
  std::size_t tries = 128;       // earlier places that are compared with, for each place
};

/// Compresses `data` into a whole image, header included. Empty when the data is larger than a header can say.
std::vector<std::uint8_t> compress(std::span<const std::uint8_t> data, Version version, const Options &options = {});

}  // namespace vexora::uefi
