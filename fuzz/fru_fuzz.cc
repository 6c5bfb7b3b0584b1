// SPDX-License-Identifier: Apache-2.0
//
// FRU images through every getter. The first byte chooses getter and field, the second the capacity; the image follows.
// Its format version and header checksum are corrected, or no code after those checks would ever run.

#include <algorithm>
#include <vector>

#include "target.h"
#include "vexora/platform.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  throwOutputAway();
  if (size < 10) {
    return 0;
  }
  constexpr decltype(&vexora_get_fru_board_info) kGetters[] = {vexora_get_fru_chassis_info, vexora_get_fru_board_info,
                                                               vexora_get_fru_product_info};
  std::vector<std::uint8_t> image(data + 2, data + size);
  image[0] = 1;
  image[7] = vexora_checksum_calc(image.data(), 7);
  std::vector<std::uint8_t> out(data[1] % 70 + 1U, 0xEE);
  std::uint8_t typeLength = 0xEE;
  const int result = kGetters[data[0] % 3](image.data(), static_cast<int>(image.size()), data[0] / 3 % 9, out.data(),
                                           static_cast<int>(out.size()), &typeLength);
  const std::size_t most = result == 0 ? typeLength & 0x3FU : 0;
  const bool isRestUntouched = std::all_of(out.begin() + static_cast<int>(std::min(most, out.size())), out.end(),
                                           [](std::uint8_t byte) { return byte == 0xEE; });
  require(isRestUntouched, "no byte behind the field's is written");
  require(result == 0 || (result == -1 && typeLength == 0xEE), "a failed read leaves the type alone");
  return 0;
}
