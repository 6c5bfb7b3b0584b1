// SPDX-License-Identifier: Apache-2.0
//
// ECDSA signatures over SHA-256. Callers pass keys and signatures without a size: the second byte of the DER encoding
// gives it (the short form of a length).
//
// The EC_KEY calls are deprecated in OpenSSL 3 and used on purpose: callers hold EC_KEY objects.

#include <openssl/ec.h>
#include <openssl/ecdsa.h>
#include <openssl/err.h>
#include <openssl/obj_mac.h>
#include <openssl/sha.h>
#include <openssl/x509.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>

#include "vexora/security.h"

namespace {

constexpr std::uint8_t kVerificationError = 255;
constexpr std::uint8_t kMaxShortForm = 127;

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

struct FreeKey {
  void operator()(EC_KEY *key) const { EC_KEY_free(key); }
};

using Key = std::unique_ptr<EC_KEY, FreeKey>;

Key makeKey() { return Key(EC_KEY_new_by_curve_name(NID_X9_62_prime256v1)); }

/// Returns the key in a DER object, or null. OpenSSL also reads other forms of the length, by which the key would not
/// end at `size`: those are refused.
Key parse(const std::uint8_t *der, std::uint8_t size) {
  return Key(der[1] > kMaxShortForm ? nullptr : d2i_EC_PUBKEY(nullptr, &der, size));
}

/// Hazard: a parsed key may still be a point for which anybody can forge signatures.
bool isSound(const Key &key) { return EC_KEY_check_key(key.get()) == 1; }

int verify(std::span<const std::uint8_t> digest, const std::uint8_t *signature, std::uint8_t size, EC_KEY *key) {
  return ECDSA_verify(0, digest.data(), static_cast<int>(digest.size()), signature, size, key);
}

#pragma GCC diagnostic pop

/// Removes the OpenSSL errors added in this scope: a TLS connection of the caller would take them for its own.
class QuietErrors {
 public:
  QuietErrors() { ERR_set_mark(); }
  ~QuietErrors() { ERR_pop_to_mark(); }
  QuietErrors(const QuietErrors &) = delete;
  QuietErrors &operator=(const QuietErrors &) = delete;
};

/// Returns the size of a DER object whose second byte is `contentLength`.
std::uint8_t objectSize(std::uint8_t contentLength) { return static_cast<std::uint8_t>(contentLength + 2); }

/// Returns whether the signature, by its length byte, ends within `capacity` bytes; reads nothing past them.
bool isWithin(const std::uint8_t *signature, std::uint8_t capacity) {
  return capacity >= 2 && signature[1] != 0 && objectSize(signature[1]) <= capacity;
}

}  // namespace

EC_KEY *VexoraECDSAInit(const std::uint8_t *der) {
  std::puts("Init ECDSA");
  if (der == nullptr || der[1] == 0) {
    return nullptr;
  }
  const std::uint8_t size = objectSize(der[1]);
  std::printf("Key length: %d .\n", size);
  const QuietErrors quiet;
  Key key = makeKey();
  if (!key) {
    std::puts("Create EcKey Failed.");
    return nullptr;
  }
  key = parse(der, size);
  if (!isSound(key)) {
    std::puts("Key check failed.");
    return nullptr;
  }
  return key.release();
}

std::uint8_t VexoraECDSAwithSHA256Verify(EC_KEY *key, const std::uint8_t *data, int dataLen, const std::uint8_t *sig,
                                         std::uint8_t sigBufLen) {
  if (key == nullptr || data == nullptr || dataLen < 1 || sig == nullptr || !isWithin(sig, sigBufLen)) {
    return kVerificationError;
  }
  const QuietErrors quiet;
  // Without a digest there must be no verdict: anybody can make a signature for a digest of zeros.
  std::array<std::uint8_t, SHA256_DIGEST_LENGTH> digest{};
  if (SHA256(data, static_cast<std::size_t>(dataLen), digest.data()) == nullptr) {
    return kVerificationError;
  }
  return static_cast<std::uint8_t>(verify(digest, sig, objectSize(sig[1]), key));
}
