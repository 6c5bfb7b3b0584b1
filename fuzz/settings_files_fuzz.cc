// SPDX-License-Identifier: Apache-2.0
//
// The three JSON settings files: the first byte chooses one, the rest is its content. A load of any content returns a
// documented result and texts that end within their fields. Saving and loading again must not change them.

#include "../tests/config/settings_stores.h"
#include "target.h"

namespace {

using namespace vexora::test;

template <typename Store>
void tryStore(const std::uint8_t *data, std::size_t size) {
  putFile(Store::kFile.c_str(), data, size);
  auto loaded = filled<Store>(0x5A);
  if (loaded.load() != 0) {
    return;
  }
  require(loaded.save() == 0, "what was loaded can be saved");
  auto again = filled<Store>('\xA5');
  require(again.load() == 0, "what was saved can be loaded");
  require(bytes(loaded) == bytes(again), "a file's records stay the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  constexpr void (*kStores[])(const std::uint8_t *, std::size_t) = {tryStore<Smtp>, tryStore<Trap>, tryStore<Agent>};
  if (size > 0) {
    kStores[data[0] % 3](data + 1, size - 1);
  }
  return 0;
}
