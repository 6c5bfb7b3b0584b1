// SPDX-License-Identifier: Apache-2.0
//
// A key's DER, then a signature's. The first byte is the signature's stated capacity. Each is in a block of exactly its
// stated length, so that the sanitizer reports a read after it.

#include <openssl/ec.h>

#include <algorithm>
#include <vector>

#include "target.h"
#include "vexora/security.h"

#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  throwOutputAway();
  if (size < 3) {
    return 0;
  }
  std::vector<std::uint8_t> der(std::max((data[2] + 2U) % 256, 2U));
  const std::size_t keySize = std::min(der.size(), size - 1);
  std::copy_n(data + 1, keySize, der.begin());
  std::vector<std::uint8_t> signature(data + 1 + keySize, data + size);
  signature.resize(data[0]);
  EC_KEY *const key = VexoraECDSAInit(der.data());
  const int verdict = VexoraECDSAwithSHA256Verify(key, data, static_cast<int>(size), signature.data(), data[0]);
  require(key == nullptr ? verdict == 255 : EC_KEY_check_key(key) == 1, "only a sound key verifies");
  EC_KEY_free(key);
  return 0;
}
