// SPDX-License-Identifier: Apache-2.0
//
// vexora signature: checks files' signatures with the library's call.

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <vexora/security.h>

#include <limits>
#include <memory>

#include "core/several.h"
#include "files/commands.h"

namespace vexora::tool {
namespace {

using Bytes = std::vector<std::uint8_t>;

// The library reads only one byte of a key's or signature's DER length.
constexpr std::size_t kDerHeader = 2;
constexpr std::size_t kMaxContent = 127;

struct SignatureArguments {
  std::vector<std::string> files;
  std::string key;
  std::string signature;
};

struct FreeKey {
  void operator()(ec_key_st *key) const {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    EC_KEY_free(key);
#pragma GCC diagnostic pop
  }
};

struct FreeOpenSsl {
  void operator()(BIO *memory) const { BIO_free(memory); }
  void operator()(EVP_PKEY *key) const { EVP_PKEY_free(key); }
};

using Key = std::unique_ptr<ec_key_st, FreeKey>;

/// Converts a key in PEM to DER; returns other files unchanged.
Bytes inDer(const Bytes &file) {
  const std::unique_ptr<BIO, FreeOpenSsl> memory(BIO_new_mem_buf(file.data(), static_cast<int>(file.size())));
  const std::unique_ptr<EVP_PKEY, FreeOpenSsl> key(PEM_read_bio_PUBKEY(memory.get(), nullptr, nullptr, nullptr));
  unsigned char *der = nullptr;
  const int length = key ? i2d_PUBKEY(key.get(), &der) : 0;
  Bytes bytes = length > 0 ? Bytes(der, der + length) : file;
  OPENSSL_free(der);
  return bytes;
}

Key loadKey(const std::string &path) {
  const Bytes der = inDer(readFile(path));
  // Hazard: VexoraECDSAInit reads as many bytes as the key's header says.
  if (der.size() < kDerHeader || der[1] > kMaxContent || der.size() < kDerHeader + der[1]) {
    throw Failure(kFinding, printable(path) + ": no EC public key in DER or PEM with at most " +
                                std::to_string(kMaxContent) + " bytes of content");
  }
  Key key;
  captured([&] { key.reset(VexoraECDSAInit(der.data())); });
  if (!key) {
    throw Failure(kFinding, printable(path) + ": no valid EC public key");
  }
  return key;
}

std::uint8_t verdictOn(const std::string &path, const SignatureArguments &arguments) {
  const Key key = loadKey(arguments.key);
  const std::string signaturePath = arguments.signature.empty() ? path + ".sig" : arguments.signature;
  const Bytes signature = readFile(signaturePath);
  if (signature.size() > std::numeric_limits<std::uint8_t>::max()) {
    throw Failure(kFinding, printable(signaturePath) + ": too long for a signature");
  }
  const LargeFile file(path);
  const std::span<const std::uint8_t> data = file.bytes();
  if (data.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    throw Failure(kFinding, printable(path) + ": too long to be verified");
  }
  return VexoraECDSAwithSHA256Verify(key.get(), data.data(), static_cast<int>(data.size()), signature.data(),
                                     static_cast<std::uint8_t>(signature.size()));
}

Json verify(Session &session, const std::string &path, const SignatureArguments &arguments) {
  constexpr std::uint8_t kValid = 1;
  constexpr std::uint8_t kInvalid = 0;
  const std::uint8_t verdict = verdictOn(path, arguments);
  const std::vector<Finding> findings(
      verdict == kValid ? 0 : 1,
      {path, verdict == kInvalid ? "not valid" : "not checked: the file is empty or the signature malformed"});
  session.report(findings, printable(path) + ": " + coloured("valid", 32));
  return object({{"file", path}, {"valid", verdict == kValid}});
}

}  // namespace

void addSignature(Command app, Session &session) {
  Command signature = app.add("signature", "Verifies signatures of files.", "vexora signature verify --help");
  signature.needsCommand();
  Command command = signature.add(
      "verify",
      "Verifies files' ECDSA signatures over SHA-256. Each file's own is FILE.sig, unless --signature names that of "
      "the only one.\nOnly \"valid\" means that a file is genuine.",
      "openssl ecparam -name prime256v1 -genkey -noout -out /tmp/key && echo firmware >/tmp/image\n"
      "  openssl ec -in /tmp/key -pubout -out /tmp/public && openssl dgst -sha256 -sign /tmp/key -out "
      "/tmp/sig /tmp/image\n"
      "  vexora signature verify --key /tmp/public --signature /tmp/sig /tmp/image");
  auto arguments = std::make_shared<SignatureArguments>();
  command.option("FILE", arguments->files, "The signed files").required().typeName("");
  command.option("-k,--key", arguments->key, "The maker's public key, in DER or PEM").required().typeName("FILE");
  command.option("-s,--signature", arguments->signature, "The signature, in DER").typeName("FILE");
  command.run([&session, arguments] {
    if (arguments->files.size() > 1 && !arguments->signature.empty()) {
      throw Failure(kUsage, "--signature is that of one file");
    }
    forEachFile(session, arguments->files,
                [&](const std::string &path, const std::string &) { return verify(session, path, *arguments); });
  });
}

}  // namespace vexora::tool
