// SPDX-License-Identifier: Apache-2.0
// The password cipher of the host. It uses OpenSSL's deprecated functions: in OpenSSL 3 all others need the legacy
// provider, which may not be installed and whose loading affects the whole process.

#include "firmware/blowfish.h"

#include <openssl/blowfish.h>
#include <openssl/crypto.h>
#include <string.h>

#include <array>
#include <string_view>

#include "key_file.h"

namespace {

constexpr const char *kKeyFile = "/conf/platform_password_key";
constexpr std::string_view kDevelopmentKey = "development password key, for hosts only; not a secret!!";
static_assert(kDevelopmentKey.size() == FIRMWARE_PASSWORD_KEY_SIZE);

int transform(std::span<const uint8_t> input, std::span<uint8_t> output, const uint8_t *key, int direction) {
  if (input.data() == nullptr || output.data() == nullptr || key == nullptr || output.size() < input.size()) {
    return -1;
  }
  const size_t keyLength = strnlen(reinterpret_cast<const char *>(key), FIRMWARE_PASSWORD_KEY_SIZE);
  if (keyLength == 0) {
    return -1;
  }
  BF_KEY schedule;
  std::array<uint8_t, BF_BLOCK> feedback{};
  int feedbackOffset = 0;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  BF_set_key(&schedule, static_cast<int>(keyLength), key);
  BF_cfb64_encrypt(input.data(), output.data(), static_cast<long>(input.size()), &schedule, feedback.data(),
                   &feedbackOffset, direction);
#pragma GCC diagnostic pop
  OPENSSL_cleanse(&schedule, sizeof schedule);
  return 0;
}

}  // namespace

int getEncryptKey(uint8_t *key) {
  if (key == nullptr) {
    return -1;
  }
  return vexora::firmware::loadKey(kKeyFile, kDevelopmentKey, {key, FIRMWARE_PASSWORD_KEY_SIZE}) > 0 ? 0 : -1;
}

int EncryptPassword(const uint8_t *plain, uint8_t plainLength, uint8_t *cipher, uint8_t cipherLength,
                    const uint8_t *key) {
  return transform({plain, plainLength}, {cipher, cipherLength}, key, BF_ENCRYPT);
}

int DecryptPassword(const uint8_t *cipher, uint8_t cipherLength, uint8_t *plain, uint8_t plainLength,
                    const uint8_t *key) {
  return transform({cipher, cipherLength}, {plain, plainLength}, key, BF_DECRYPT);
}
