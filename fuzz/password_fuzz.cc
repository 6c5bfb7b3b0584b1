// SPDX-License-Identifier: Apache-2.0
//
// Base64 texts to decipher. The first byte is the capacity for the plain text, the rest is the text.

#include <algorithm>
#include <string>
#include <vector>

#include "firmware/featuredefine.h"
#include "target.h"
#include "vexora/security.h"

extern "C" int IsFeatureEnabled(const char *) { return 1; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  throwOutputAway();
  if (size < 1) {
    return 0;
  }
  const std::string text(data + 1, data + size);
  std::vector<char> out(data[0] + 1U, '~');
  const auto rest = out.end() - 1;
  const int result =
      VexoraPwDecryptAndCyo(text.c_str(), out.data(), reinterpret_cast<const std::uint8_t *>("key"), data[0]);
  const auto end = std::find(out.begin(), rest, '\0');
  const bool isPadded = *rest == '~' && std::all_of(end, rest, [](char character) { return character == '\0'; });
  const bool isEmptyText = text.c_str()[0] == '\0';
  require(isPadded && result == (isEmptyText ? -1 : 0), "the room is filled with zeros");
  require(!isEmptyText || end == out.begin(), "no text gives none");
  return 0;
}
