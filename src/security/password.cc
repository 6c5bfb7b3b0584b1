// SPDX-License-Identifier: Apache-2.0
//
// Passwords through the firmware's cipher. Every buffer with a key, a plain text or cipher bytes is wiped on every way
// out. The firmware's cipher takes lengths of 8 bits: a buffer that it fills has space for the largest that it gets.

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>

#include "base/secret.h"
#include "firmware/blowfish.h"
#include "firmware/encoding.h"
#include "firmware/featuredefine.h"
#include "vexora/security.h"

namespace {

using vexora::Secret;
using vexora::SecretBlock;

constexpr const char *kFeature = "CONFIG_RVK_FEATURE_ENABLE_USERPSWD_ENCRYPTION";
constexpr const char *kMarker = "/var/blowfish";
constexpr std::size_t kCipherCapacity = std::numeric_limits<std::uint8_t>::max();

/// A direction of the cipher, with its messages.
struct Direction {
  decltype(&EncryptPassword) transform;
  const char *noKey;
  const char *failed;
};

constexpr Direction kEncipher = {EncryptPassword, "Unable to get the encryption key. quitting...",
                                 "Error in encrypting the SNMP auth password."};
constexpr Direction kDecipher = {DecryptPassword, "Error in getting the encryption key. quitting......",
                                 "\n Error in Decrypting the SNMP auth Password. "};

bool isSwitchedOn() { return IsFeatureEnabled(kFeature) != 0; }

int transformInPlace(std::uint8_t *buffer, int length, const Direction &direction) {
  if (buffer == nullptr || buffer[0] == 0) {
    return -1;
  }
  if (!isSwitchedOn()) {
    return 0;
  }
  if (length < 0 || length > VEXORA_PASSWORD_MAX) {
    return -1;
  }
  Secret<FIRMWARE_PASSWORD_KEY_SIZE> key;
  if (getEncryptKey(key.data()) != 0) {
    std::puts(direction.noKey);
    return -1;
  }
  Secret<VEXORA_PASSWORD_MAX> transformed;
  const auto size = static_cast<std::uint8_t>(length);
  if (direction.transform(buffer, size, transformed.data(), size, key.data()) != 0) {
    std::puts(direction.failed);
    return -1;
  }
  std::memcpy(buffer, transformed.data(), size);
  return 0;
}

/// Prints the failure and leaves an empty text in the caller's buffer.
int refuseText(const char *message, char *out, std::size_t capacity) {
  std::puts(message);
  if (out != nullptr) {
    std::memset(out, 0, capacity);
  }
  return -1;
}

/// Copies as much of a text as fits, and pads it with zeros.
void putText(std::string_view text, char *out, std::size_t capacity) {
  const std::size_t copied = text.copy(out, capacity);
  std::memset(out + copied, 0, capacity - copied);
}

/// Returns the largest decoded size of a base64 text, or what the cipher may read if that is more.
std::size_t decodedCapacity(std::size_t characters) { return std::max(kCipherCapacity, characters / 4 * 3 + 3); }

/// Deciphers the text; returns false when memory is short or the cipher fails.
bool decipherText(const char *base64, const std::uint8_t *key, Secret<kCipherCapacity> &plain) {
  const std::size_t characters = std::strlen(base64);
  SecretBlock cipher(decodedCapacity(characters));
  if (!cipher) {
    return false;
  }
  const auto size = static_cast<std::uint8_t>(cyoBase64Decode(cipher.data(), base64, characters));
  return DecryptPassword(cipher.data(), size, plain.data(), size, key) == 0;
}

/// EOVERFLOW: the file exists, only its time doesn't fit 32-bit time_t.
bool isMarked() {
  struct stat status;
  return stat(kMarker, &status) == 0 || errno == EOVERFLOW;
}

}  // namespace

int vexora_password_encrypt(std::uint8_t *buf, int len) { return transformInPlace(buf, len, kEncipher); }

int vexora_password_decrypt(std::uint8_t *buf, int len) { return transformInPlace(buf, len, kDecipher); }

int VexoraPwDecrypt(std::uint8_t *buf, int len) { return transformInPlace(buf, len, kDecipher); }

int VexoraPwDecryptAndCyo(const char *b64, char *out, const std::uint8_t *key, std::uint32_t outLen) {
  if (b64 == nullptr || b64[0] == '\0') {
    return refuseText("the encryption Password input error. quitting...", out, outLen);
  }
  if (key == nullptr || key[0] == 0) {
    return refuseText("the encryption key input error. quitting...", out, outLen);
  }
  if (!isSwitchedOn()) {
    return 0;
  }
  if (out == nullptr) {
    return -1;
  }
  Secret<kCipherCapacity> plain;
  if (!decipherText(b64, key, plain)) {
    return refuseText("Error in decrypting the password.", out, outLen);
  }
  putText({plain.text(), strnlen(plain.text(), kCipherCapacity)}, out, outLen);
  return 0;
}

int GetEncryptCtrl() { return isMarked() ? 1 : 0; }

int CheckEncryptValid(int isEnciphered) { return isEnciphered != 1 && isMarked() ? -1 : 0; }

int vexora_convert_hextostr(const std::uint8_t *bytes, char *out, int count, int outSize) {
  if (outSize < 2 * std::int64_t{count} + 1) {
    return -1;
  }
  if (count < 1) {
    return 0;
  }
  if (bytes == nullptr || out == nullptr) {
    return -1;
  }
  constexpr char kDigits[] = "0123456789abcdef";
  for (int i = 0; i < count; ++i) {
    *out++ = kDigits[bytes[i] >> 4];
    *out++ = kDigits[bytes[i] & 0xF];
  }
  *out = '\0';
  return 0;
}
