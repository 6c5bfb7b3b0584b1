// SPDX-License-Identifier: Apache-2.0
// Passwords with the stand-in's cipher, signatures made by OpenSSL, digests by a copy of libcrypto at the board's path.
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include "base/owners.h"
#include "firmware/blowfish.h"
#include "firmware/featuredefine.h"
#include "support/test.h"
#include "vexora/security.h"

namespace vexora::test {
namespace {

using Seen = std::tuple<int, std::string, std::string, std::size_t>;  // result, buffer, output, bytes wiped

std::string firmwareKey;  // empty: not available
int firmwareNo = 1;       // what a failing call of the firmware returns; never 0
bool cipherFails = false;
std::size_t wiped = 0;
bool libcryptoFails = false;
int openLibraries = 0;
int closeResult = 0;

std::uint8_t *bytes(std::string &text) { return reinterpret_cast<std::uint8_t *>(text.data()); }

template <typename Call>
Seen seen(std::string buffer, Call call) {
  wiped = 0;
  int result = 1;
  const std::string output = capturedOutput([&] { result = call(bytes(buffer)); });
  return {result, buffer, output, wiped};
}

class Security : public RootTest {
 protected:
  Security() { EncryptPassword(bytes(plain), 255, bytes(cipher), 255, bytes(key)); }
  static void switchOn() { write("/conf/platform_features", "CONFIG_RVK_FEATURE_ENABLE_USERPSWD_ENCRYPTION"); }

  std::string plain = std::string(255, 'p');
  std::string cipher = std::string(300, 'c');
  std::string key = std::string(56, 'k');
};

TEST_F(Security, PasswordIsTransformedInPlaceOrLeftAlone) {
  const std::string noKey = "Error in getting the encryption key. quitting......\n";
  const std::string failure = "\n Error in Decrypting the SNMP auth Password. \n";
  const std::tuple<int (*)(std::uint8_t *, int), std::string, std::string, std::string, std::string> rows[] = {
      {vexora_password_encrypt, plain, cipher, "Unable to get the encryption key. quitting...\n",
       "Error in encrypting the SNMP auth password.\n"},
      {vexora_password_decrypt, cipher, plain, noKey, failure},
      {VexoraPwDecrypt, cipher, plain, noKey, failure}};
  for (const auto &[call, before, after, keyMessage, message] : rows) {
    SCOPED_TRACE(call == VexoraPwDecrypt ? "VexoraPwDecrypt" : message);
    const auto of = [&, &call = call, &before = before](int length) {
      return seen(before, [=](std::uint8_t *buffer) { return call(buffer, length); });
    };
    clearRoot();
    firmwareNo = -firmwareNo;
    EXPECT_EQ(of(65), Seen(0, before, "", 0)) << "the feature is off";
    EXPECT_EQ(call(nullptr, 1), -1);
    EXPECT_EQ(call(bytes(firmwareKey = ""), 1), -1);
    switchOn();
    EXPECT_EQ(of(-1), Seen(-1, before, "", 0));
    EXPECT_EQ(of(65), Seen(-1, before, "", 0));
    EXPECT_EQ(of(64), Seen(-1, before, keyMessage, 56));
    firmwareKey.assign(56, '\0');  // an empty text for the cipher
    EXPECT_EQ(of(64), Seen(-1, before, message, 120));
    firmwareKey = key;
    for (const int length : {0, 1, 15, 16, 17, 64}) {
      const auto size = static_cast<std::size_t>(length);
      EXPECT_EQ(of(length), Seen(0, after.substr(0, size) + before.substr(size), "", 120)) << length;
    }
  }
}

TEST_F(Security, PasswordIsDecipheredFromBase64OrClearsTheText) {
  const auto of = [](const char *text, const std::uint8_t *with, std::size_t room = 2) {
    return seen(std::string(room + 1, '~'), [=](std::uint8_t *out) {
      return VexoraPwDecryptAndCyo(text, reinterpret_cast<char *>(out), with, std::uint32_t(room));
    });
  };
  const std::string cleared("\0\0~", 3);
  EXPECT_EQ(of("YWJj", bytes(key)), Seen(0, "~~~", "", 0)) << "the feature is off";
  for (const char *const none : {static_cast<const char *>(nullptr), ""}) {
    const auto *const noKey = reinterpret_cast<const std::uint8_t *>(none);
    EXPECT_EQ(of(none, bytes(key)), Seen(-1, cleared, "the encryption Password input error. quitting...\n", 0));
    EXPECT_EQ(of("YWJj", noKey), Seen(-1, cleared, "the encryption key input error. quitting...\n", 0));
  }
  switchOn();
  for (const auto &[size, room] : {std::pair(3U, 6U), {3, 2}, {15, 16}, {128, 128}, {255, 256}, {256, 2}, {300, 46}}) {
    std::string text(405, '\0');
    text.resize(static_cast<std::size_t>(EVP_EncodeBlock(bytes(text), bytes(cipher), int(size))));
    std::string expected = plain.substr(0, std::min(size % 256, room));
    expected.resize(room);
    const std::size_t wipes = 255 + std::max<std::size_t>(255, text.size() / 4 * 3 + 3);
    EXPECT_EQ(of(text.c_str(), bytes(key), room), Seen(0, expected + "~", "", wipes)) << size << " into " << room;
  }
  for (cipherFails = true; const int failure : {-1, 1}) {
    firmwareNo = failure;
    EXPECT_EQ(of("YWJj", bytes(key)), Seen(-1, cleared, "Error in decrypting the password.\n", 510)) << failure;
  }
  cipherFails = false;
  EXPECT_EQ(VexoraPwDecryptAndCyo("YWJj", nullptr, bytes(key), 2), -1);
  EXPECT_EQ(VexoraPwDecryptAndCyo("", nullptr, bytes(key), 2), -1);
#ifndef VEXORA_SANITIZED
  const FailCall noMemory("calloc", 1, ENOMEM);
  EXPECT_EQ(of("YWJj", bytes(key)), Seen(-1, cleared, "Error in decrypting the password.\n", 255));
#endif
}

TEST_F(Security, PlainPasswordIsRefusedWhereTheMarkerIs) {
  EXPECT_EQ(std::tuple(GetEncryptCtrl(), CheckEncryptValid(2), CheckEncryptValid(1)), std::tuple(0, 0, 0));
  touch("/var/blowfish");
  EXPECT_EQ(std::tuple(GetEncryptCtrl(), CheckEncryptValid(2), CheckEncryptValid(1)), std::tuple(1, -1, 0));
  // EOVERFLOW: the marker exists, only its time doesn't fit a 32-bit time_t.
  for (const auto &[error, marked] : {std::pair(EOVERFLOW, 1), {EACCES, 0}}) {
    SCOPED_TRACE(error);
    const FailCall first("stat", 1, error);
    EXPECT_EQ(GetEncryptCtrl(), marked);
    const FailCall second("stat", 1, error);
    EXPECT_EQ(CheckEncryptValid(0), -marked);
  }
}

TEST_F(Security, HexTextNeedsSpaceForItsTerminator) {
  std::string in = "\xFE\xDC\xBA\x98\x67\x45\x23\x01";
  std::string hex(18, '~');
  for (const auto &[count, room, result] :
       {std::tuple(8, 16, -1), {0, 0, -1}, {0, 1, 0}, {-1, -1, 0}, {1 << 30, 1, -1}}) {
    EXPECT_EQ(vexora_convert_hextostr(bytes(in), hex.data(), count, room), result) << count << " in " << room;
  }
  EXPECT_EQ(vexora_convert_hextostr(nullptr, hex.data(), 1, 3), -1);
  EXPECT_EQ(vexora_convert_hextostr(bytes(in), nullptr, 1, 3), -1);
  EXPECT_EQ(hex, std::string(18, '~'));
  EXPECT_EQ(vexora_convert_hextostr(bytes(in), hex.data(), 8, 17), 0);
  EXPECT_EQ(hex, std::string("fedcba9867452301\0~", 18));
}

#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

TEST_F(Security, SignatureIsVerifiedWithASoundKey) {
  ERR_raise(ERR_LIB_USER, 1);  // the caller's own error, which must stay
  const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> signer(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"),
                                                                   EVP_PKEY_free);
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
  std::vector<std::uint8_t> sig(80);
  std::size_t size = sig.size();
  EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, signer.get());
  ASSERT_EQ(EVP_DigestSign(context.get(), sig.data(), &size, bytes(plain), plain.size()), 1);
  const auto refusal = [](const std::uint8_t *object) {
    return capturedOutput([&] { EXPECT_EQ(VexoraECDSAInit(object), nullptr); });
  };
  std::vector<std::uint8_t> der(91);
  std::uint8_t *end = der.data();
  ASSERT_EQ(i2d_PUBKEY(signer.get(), &end), 91);
  std::unique_ptr<EC_KEY, decltype(&EC_KEY_free)> verifier(nullptr, EC_KEY_free);
  EXPECT_EQ(capturedOutput([&] { verifier.reset(VexoraECDSAInit(der.data())); }), "Init ECDSA\nKey length: 91 .\n");
  const auto verdict = [&](int length, std::size_t room) {
    const std::vector<std::uint8_t> exact(sig.begin(), sig.begin() + static_cast<int>(std::min(room, size)));
    return VexoraECDSAwithSHA256Verify(verifier.get(), bytes(plain), length, exact.data(), std::uint8_t(room));
  };
  EXPECT_EQ(std::tuple(verdict(255, size), verdict(255, 255), verdict(1, size)), std::tuple(1, 1, 0));
  EXPECT_EQ(std::tuple(verdict(0, size), verdict(-1, size), verdict(255, 1)), std::tuple(255, 255, 255));
  // The buffer holds the whole signature, but the caller states a byte less.
  EXPECT_EQ(VexoraECDSAwithSHA256Verify(verifier.get(), bytes(plain), 255, sig.data(), std::uint8_t(size - 1)), 255);
  EXPECT_EQ(VexoraECDSAwithSHA256Verify(nullptr, bytes(plain), 255, sig.data(), 80), 255);
  EXPECT_EQ(VexoraECDSAwithSHA256Verify(verifier.get(), nullptr, 255, sig.data(), 80), 255);
  EXPECT_EQ(VexoraECDSAwithSHA256Verify(verifier.get(), bytes(plain), 255, nullptr, 80), 255);
  const std::uint8_t zeros[] = {0x30, 6, 2, 1, 0, 2, 1, 0};
  EXPECT_EQ(VexoraECDSAwithSHA256Verify(verifier.get(), bytes(plain), 255, zeros, 8), 0);
  libcryptoFails = true;
  EXPECT_EQ(verdict(255, size), 255);
  EXPECT_EQ(refusal(der.data()), "Init ECDSA\nKey length: 91 .\nCreate EcKey Failed.\n");
  libcryptoFails = false;
  for (const unsigned length : {0U, static_cast<unsigned>(size) - 3, static_cast<unsigned>(size) - 1, 254U, 255U}) {
    sig[1] = static_cast<std::uint8_t>(length);
    EXPECT_EQ(verdict(255, size), 255) << length;
  }
  for (unsigned length = 0; length < 256; ++length) {
    std::vector<std::uint8_t> cut(std::max((length + 2) % 256, 2U));
    std::copy_n(der.begin(), std::min(cut.size(), der.size()), cut.begin());
    cut[1] = static_cast<std::uint8_t>(length);
    cut.back() ^= length == 89 ? 1 : 0;  // with the right length, the point is off the curve
    const std::string told = "Key length: " + std::to_string((length + 2) % 256) + " .\nKey check failed.\n";
    EXPECT_EQ(refusal(cut.data()), "Init ECDSA\n" + (length == 0 ? "" : told)) << length;
  }
  // The point at infinity: with it, any signature could be valid.
  std::string infinity("\x30\x19\x30\x13\6\7\x2A\x86\x48\xCE\x3D\2\1\6\x08\x2A\x86\x48\xCE\x3D\3\1\7\3\2\0\0", 27);
  EXPECT_EQ(refusal(bytes(infinity)), "Init ECDSA\nKey length: 27 .\nKey check failed.\n");
  EXPECT_EQ(refusal(nullptr), "Init ECDSA\n");
  EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 1);
  EXPECT_EQ(ERR_peek_error(), 0U);
}

std::string digestOf(std::string_view text) {
  std::string digest(16, '\0');
  EVP_Digest(text.data(), text.size(), bytes(digest), nullptr, EVP_md5(), nullptr);
  return digest;
}

Seen digested(long from, unsigned length) {
  const Stream stream(std::fopen("/var/stream", "r"));
  EXPECT_EQ(std::fseek(stream.get(), from, SEEK_SET), 0);
  Seen outcome = seen(std::string(16, '~'),
                      [&](std::uint8_t *digest) { return vexora_calcmd5_checksum(stream.get(), length, digest); });
  EXPECT_EQ(std::pair(openLibraries, dl_md5), std::pair(0, static_cast<void *>(nullptr)));
  std::get<2>(outcome) += std::ferror(stream.get()) != 0 ? "failed stream" : "";
  return outcome;
}

// Libcrypto stays mapped once it is loaded, so the test needs its own process.
TEST_F(Security, Md5DigestsTheNextBytesOrLeavesTheBufferAlone) {
  inFreshProcess([] {
    std::string stream(1000, '\0');
    std::generate(stream.begin(), stream.end(), [i = 0]() mutable { return static_cast<char>(i++ * 7); });
    write("/var/stream", stream);
    const std::string untouched(16, '~');
    EXPECT_EQ(digested(0, 100), Seen(-1, untouched, "error in initializing openssl library", 0));
    Dl_info libcrypto;
    ASSERT_NE(dladdr(reinterpret_cast<void *>(&EVP_Digest), &libcrypto), 0);
    write("/usr/lib/arm-linux-gnueabi/libcrypto.so", read(libcrypto.dli_fname));
    for (const auto &[from, length] : {std::pair(0, 100U), {0, 50}, {0, 64}, {0, 65}, {0, 0}, {300, 128}, {900, ~0U}}) {
      EXPECT_EQ(digested(from, length), Seen(0, digestOf(stream.substr(static_cast<std::size_t>(from), length)), "", 0))
          << length;
    }
    for (const auto &[error, length, state] : {std::tuple(EINTR, 100U, ""), {EIO, 64U, "failed stream"}}) {
      const FailCall fault("fread", 2, error);
      EXPECT_EQ(digested(0, 100), Seen(0, digestOf(stream.substr(0, length)), state, 0)) << error;
    }
    const char *const messages[] = {"md5 init error!\n", "md5 update error!\n", "md5 final error!\n"};
    for (std::uint16_t slot = 0; slot < 3; ++slot) {
      SCOPED_TRACE(slot);
      // A function that always returns 0, then a missing one.
      const auto before = std::exchange(g_Md5Initialize[slot], vexora_md5_symbol{slot, "OPENSSL_issetugid"});
      EXPECT_EQ(digested(0, 100), Seen(-1, untouched, messages[slot], 0));
      g_Md5Initialize[slot] = {slot, "none"};
      EXPECT_EQ(digested(0, 100), Seen(-1, untouched, "error in initializing openssl library", 0));
      g_Md5Initialize[slot] = {3, "MD5_Init"};
      EXPECT_EQ(vexora_initialize_md5library(), -1);
      g_Md5Initialize[slot] = before;
    }
    for (int again = 0; again < 2; ++again) {
      EXPECT_EQ(vexora_initialize_md5library(), 0);
      EXPECT_EQ(openLibraries, 1);
    }
    std::string digest = untouched;
    EXPECT_EQ(vexora_calcmd5_checksum(nullptr, 0, bytes(digest)), -1);
    EXPECT_EQ(vexora_calcmd5_checksum(stdin, 0, nullptr), -1);
    EXPECT_EQ(digest, untouched);
    EXPECT_NE(dl_md5, nullptr);
    closeResult = 7;
    EXPECT_EQ(vexora_close_md5library(), 7);
    EXPECT_EQ(vexora_close_md5library(), 0);
    EXPECT_EQ(digested(0, 50), Seen(7, digestOf(stream.substr(0, 50)), "", 0));
  });
}

}  // namespace
}  // namespace vexora::test

extern "C" {

void *dlopen(const char *path, int mode) noexcept {
  void *const library = vexora::test::original(&dlopen, "dlopen")(path, mode);
  vexora::test::openLibraries += library != nullptr ? 1 : 0;
  return library;
}

int dlclose(void *library) noexcept {
  --vexora::test::openLibraries;
  return vexora::test::original(&dlclose, "dlclose")(library) + vexora::test::closeResult;
}

EC_KEY *EC_KEY_new_by_curve_name(int curve) {
  EXPECT_EQ(curve, 415);
  const auto real = vexora::test::original(&EC_KEY_new_by_curve_name, "EC_KEY_new_by_curve_name");
  return vexora::test::libcryptoFails ? nullptr : real(curve);
}

unsigned char *SHA256(const unsigned char *data, std::size_t size, unsigned char *digest) {
  return vexora::test::libcryptoFails ? nullptr : vexora::test::original(&SHA256, "SHA256")(data, size, digest);
}

// The library must pass zeroed buffers, as the firmware may not fill them.
int DecryptPassword(const std::uint8_t *cipher, std::uint8_t size, std::uint8_t *plain, std::uint8_t room,
                    const std::uint8_t *key) {
  EXPECT_EQ(std::count(plain, plain + 64, 0), 64);
  const int result = vexora::test::original(&DecryptPassword, "DecryptPassword")(cipher, size, plain, room, key);
  return vexora::test::cipherFails || result != 0 ? vexora::test::firmwareNo : 0;
}

int getEncryptKey(std::uint8_t *key) {
  EXPECT_EQ(std::count(key, key + 56, 0), 56);
  std::copy(vexora::test::firmwareKey.begin(), vexora::test::firmwareKey.end(), key);
  return vexora::test::firmwareKey.empty() ? vexora::test::firmwareNo : 0;
}

int IsFeatureEnabled(const char *feature) {
  return vexora::test::original(&IsFeatureEnabled, "IsFeatureEnabled")(feature) * vexora::test::firmwareNo;
}

// The two names of the C library's secure wipe.
void __explicit_bzero_chk(void *at, std::size_t size, std::size_t) noexcept {
  std::fill_n(static_cast<volatile char *>(at), size, '\0');
  vexora::test::wiped += size;
}

void explicit_bzero(void *at, std::size_t size) noexcept { __explicit_bzero_chk(at, size, size); }
}
