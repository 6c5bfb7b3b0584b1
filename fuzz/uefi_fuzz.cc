// SPDX-License-Identifier: Apache-2.0
//
// Compressed images in both forms. An input is an image. Its plain size is taken modulo 16 KiB, and a compressed size
// that is too large is corrected. Source, destination and scratch area are blocks of exactly their size, so that the
// sanitizer reports each access out of bounds.

#include <algorithm>
#include <cstring>
#include <vector>

#include "target.h"
#include "vexora/platform.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

/// The result must not depend on the destination's old contents. A failed call may leave only its end unwritten.
void decompressTwice(const Bytes &image, std::uint32_t plain, std::uint32_t version) {
  Bytes zeros(plain, 0);
  Bytes ones(plain, 0xFF);
  Bytes scratch(VEXORA_UEFI_SCRATCH_SIZE, 0);
  const int result = UefiTianoDecompress(image.data(), zeros.data(), scratch.data(), version);
  const int again = UefiTianoDecompress(image.data(), ones.data(), scratch.data(), version);
  require(result == again && (result == 0 || result == -1), "one result of the documented two");
  const auto [zero, one] = std::mismatch(zeros.begin(), zeros.end(), ones.begin());
  require(result == -1 || zero == zeros.end(), "success writes everything");
  require(std::count(zero, zeros.end(), 0) + std::count(one, ones.end(), 0xFF) == 2 * (zeros.end() - zero),
          "nothing is written behind a fault");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  throwOutputAway();
  Bytes image(data, data + size);
  const auto length = static_cast<std::uint32_t>(size);
  std::uint32_t plain = 0;
  std::uint32_t scratch = 0;
  if (UefiDecompressGetInfo(image.data(), length, &plain, &scratch) != 0) {
    if (size < 8) {
      return 0;
    }
    const std::uint32_t compressed = length - 8;
    std::memcpy(&image[0], &compressed, sizeof compressed);
    require(UefiDecompressGetInfo(image.data(), length, &plain, &scratch) == 0, "a whole image is accepted");
  }
  plain %= 16 * 1024;
  std::memcpy(&image[4], &plain, sizeof plain);
  decompressTwice(image, plain, VEXORA_UEFI_FORM);
  decompressTwice(image, plain, VEXORA_TIANO_FORM);
  return 0;
}
