// SPDX-License-Identifier: Apache-2.0
// The settings cipher of the host. The caller gets plain bytes only after the padding was checked: CBC would otherwise
// hand out the first blocks of a damaged text.

#include "firmware/aes.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <memory>
#include <new>
#include <span>
#include <string_view>

#include "key_file.h"

namespace {

constexpr const char *kKeyFile = "/conf/platform_aes_key";
constexpr const char *kVectorFile = "/conf/platform_aes_vector";
constexpr std::string_view kDevelopmentKey = "development AES key, not secret!";
constexpr std::string_view kDevelopmentVector = "development IV!!";
static_assert(kDevelopmentKey.size() == FIRMWARE_AES_KEY_SIZE);
static_assert(kDevelopmentVector.size() == FIRMWARE_AES_VECTOR_SIZE);

constexpr int kBlockSize = 16;

struct ContextDeleter {
  void operator()(EVP_CIPHER_CTX *context) const { EVP_CIPHER_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_CIPHER_CTX, ContextDeleter>;

int load(const char *path, std::string_view developmentKey, std::span<uint8_t> key) {
  if (vexora::firmware::loadKey(path, developmentKey, key) == static_cast<ssize_t>(key.size())) {
    return 0;
  }
  OPENSSL_cleanse(key.data(), key.size());
  return -1;
}

// Returns the number of bytes written to `output`, or -1. Enciphering needs up to one block more than `input` has.
int transform(std::span<const uint8_t> input, uint8_t *output, const uint8_t *key, const uint8_t *vector, int encrypt) {
  const Context context(EVP_CIPHER_CTX_new());
  int written = 0;
  int last = 0;
  if (!context || EVP_CipherInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, key, vector, encrypt) != 1 ||
      EVP_CipherUpdate(context.get(), output, &written, input.data(), static_cast<int>(input.size())) != 1 ||
      EVP_CipherFinal_ex(context.get(), output + written, &last) != 1) {
    return -1;
  }
  return written + last;
}

}  // namespace

int AES_GetEncryptKey(uint8_t *key, int length) {
  if (key == nullptr || length != FIRMWARE_AES_KEY_SIZE) {
    return -1;
  }
  return load(kKeyFile, kDevelopmentKey, {key, FIRMWARE_AES_KEY_SIZE});
}

int AES_GetInitialVector(uint8_t *vector, int length) {
  if (vector == nullptr || length != FIRMWARE_AES_VECTOR_SIZE) {
    return -1;
  }
  return load(kVectorFile, kDevelopmentVector, {vector, FIRMWARE_AES_VECTOR_SIZE});
}

int AES_EncryptData(const uint8_t *plain, int plainLength, uint8_t *cipher, int *cipherLength, const uint8_t *key,
                    const uint8_t *vector) {
  if (plain == nullptr || cipher == nullptr || cipherLength == nullptr || key == nullptr || vector == nullptr ||
      plainLength < 0 || plainLength > INT_MAX - kBlockSize) {
    return -1;
  }
  const int written = transform({plain, static_cast<size_t>(plainLength)}, cipher, key, vector, 1);
  if (written < 0) {
    return -1;
  }
  *cipherLength = written;
  return 0;
}

int AES_DecryptData(const uint8_t *cipher, int cipherLength, uint8_t *plain, int *plainLength, const uint8_t *key,
                    const uint8_t *vector) {
  if (cipher == nullptr || plain == nullptr || plainLength == nullptr || key == nullptr || vector == nullptr ||
      cipherLength <= 0 || cipherLength % kBlockSize != 0) {
    return -1;
  }
  const auto size = static_cast<size_t>(cipherLength);
  const std::unique_ptr<uint8_t[]> text(new (std::nothrow) uint8_t[size + kBlockSize]);
  if (!text) {
    return -1;
  }
  const int written = transform({cipher, size}, text.get(), key, vector, 0);
  if (written >= 0) {
    std::copy_n(text.get(), written, plain);
    *plainLength = written;
  }
  OPENSSL_cleanse(text.get(), size + kBlockSize);
  return written < 0 ? -1 : 0;
}
