// SPDX-License-Identifier: Apache-2.0
//
// Signatures, digests and FRU fields against their minimum: direct OpenSSL calls, and for a digest also one dlopen and
// dlclose of libcrypto, in the blocks that a stream is read in; for a field, the check of the header, the walk and the
// copy; for a checksum, the loop. Runs in the private root, which has libcrypto at the path that the library loads.

#include <dlfcn.h>
#include <openssl/ec.h>
#include <openssl/ecdsa.h>
#include <openssl/evp.h>
#include <openssl/md5.h>
#include <openssl/rand.h>
#include <openssl/sha.h>
#include <openssl/x509.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "table.h"
#include "vexora/platform.h"
#include "vexora/security.h"

#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

using vexora::bench::Aim;
using vexora::bench::Table;
using Bytes = std::vector<std::uint8_t>;

constexpr int kSlowCalls = 1;
constexpr int kQuickCalls = 2000;
constexpr int kChecksumCalls = 100;
constexpr Aim kSignatureAim{.host = 1.02, .board = 1.02};
constexpr const char *kLibrary = "/usr/lib/arm-linux-gnueabi/libcrypto.so";

/// Keys and signatures that are the same in each run, because the time of a signature depends on them.
void seedRandomNumbers() {
  static const RAND_METHOD counter = {nullptr,
                                      [](unsigned char *out, int size) {
                                        static unsigned char next = 0;
                                        std::generate_n(out, size, [] { return next += 37; });
                                        return 1;
                                      },
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      [] { return 1; }};
  RAND_set_rand_method(&counter);
}

void signature(Table &table, const char *path, std::size_t size) {
  const Bytes data(size, 'd');
  const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> signer(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"),
                                                                   EVP_PKEY_free);
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
  Bytes signature(80);
  std::size_t signatureSize = signature.size();
  EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, signer.get());
  EVP_DigestSign(context.get(), signature.data(), &signatureSize, data.data(), data.size());
  std::array<std::uint8_t, 91> der{};
  std::uint8_t *end = der.data();
  i2d_PUBKEY(signer.get(), &end);
  const std::unique_ptr<EC_KEY, decltype(&EC_KEY_free)> key(VexoraECDSAInit(der.data()), EC_KEY_free);
  table.compare(
      path, kSignatureAim, kSlowCalls,
      [&] {
        return VexoraECDSAwithSHA256Verify(key.get(), data.data(), static_cast<int>(size), signature.data(),
                                           static_cast<std::uint8_t>(signatureSize)) == 1;
      },
      [&] {
        std::array<std::uint8_t, SHA256_DIGEST_LENGTH> digest{};
        SHA256(data.data(), size, digest.data());
        return ECDSA_verify(0, digest.data(), static_cast<int>(digest.size()), signature.data(),
                            static_cast<int>(signatureSize), key.get()) == 1;
      });
}

void digest(Table &table) {
  Dl_info libcrypto;
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> stream(std::tmpfile(), &std::fclose);
  Bytes data(1 << 20, 'd');
  std::array<std::uint8_t, VEXORA_MD5_SIZE> sum{};
  if (dladdr(reinterpret_cast<void *>(&EVP_Digest), &libcrypto) == 0 ||
      !(std::ofstream(kLibrary) << std::ifstream(libcrypto.dli_fname).rdbuf()) ||
      std::fwrite(data.data(), data.size(), 1, stream.get()) != 1) {
    table.fail("md5-1MiB", "no library to load; is this the private root?");
    return;
  }
  table.compare(
      "md5-1MiB", {.host = 1.1, .board = 1.1}, kSlowCalls,
      [&] {
        std::rewind(stream.get());
        return vexora_calcmd5_checksum(stream.get(), static_cast<std::uint32_t>(data.size()), sum.data()) == 0;
      },
      [&] {
        void *const library = dlopen(kLibrary, RTLD_NOW);
        std::rewind(stream.get());
        MD5_CTX context;
        MD5_Init(&context);
        std::array<std::uint8_t, 64> chunk;
        while (const std::size_t got = std::fread(chunk.data(), 1, chunk.size(), stream.get())) {
          MD5_Update(&context, chunk.data(), got);
        }
        return MD5_Final(sum.data(), &context) == 1 && dlclose(library) == 0;
      });
}

void fruField(Table &table) {
  const std::string image(
      "\1\0\0\0\1\0\0\xFE\1\4\x19\xC4make\xC4name\xC4part\xC4vers\xC6serial\xD0"
      "asset-tag-number\xC0\xC1",
      57);
  const auto *const fru = reinterpret_cast<const std::uint8_t *>(image.data());
  std::array<std::uint8_t, 64> out{};
  std::uint8_t typeLength = 0;
  table.compare(
      "fru-asset-tag", {.host = 3, .board = 3}, kQuickCalls,
      [&] {
        return vexora_get_fru_product_info(fru, static_cast<int>(image.size()), VEXORA_FRU_PRODUCT_ASSET_TAG,
                                           out.data(), static_cast<int>(out.size()), &typeLength) == 0 &&
               typeLength == 0xD0;
      },
      [&] {
        const bool valid = vexora_check_fru_common_header(fru, static_cast<int>(image.size())) == 0;
        const std::uint8_t *at = fru + 11;
        for (int field = 1; field < VEXORA_FRU_PRODUCT_ASSET_TAG; ++field) {
          at += 1 + (*at & 0x3F);
        }
        std::copy_n(at + 1, *at & 0x3F, out.data());
        vexora::bench::touchMemory();
        return valid;
      });
}

void checksum(Table &table) {
  const Bytes data(1024, 'c');
  const std::uint8_t expected = vexora_checksum_calc(data.data(), 1024);
  table.compare(
      "checksum-1KiB", {.host = 1.1, .board = 1.1}, kChecksumCalls,
      [&] { return vexora_checksum_calc(data.data(), 1024) == expected; },
      [&] {
        vexora::bench::touchMemory();
        std::uint8_t sum = 0;
        for (const std::uint8_t byte : data) {
          sum = static_cast<std::uint8_t>(sum - byte);
        }
        return sum == expected;
      });
}

}  // namespace

int main(int argc, char **argv) {
  seedRandomNumbers();
  Table table(argc, argv);
  signature(table, "ecdsa-256B", 256);
  signature(table, "ecdsa-64KiB", 1 << 16);
  digest(table);
  fruField(table);
  checksum(table);
  return table.status();
}
