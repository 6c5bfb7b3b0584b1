// SPDX-License-Identifier: Apache-2.0
//
// sample_maker fru IMAGE
// sample_maker pack uefi|tiano FILE IMAGE
// sample_maker sign FILE KEY SIGNATURE
//
// The maker's side of the demo: makes an inventory image of fictitious parts, packs an image, and signs a file with a
// new key, of which only the public half is stored. It shares no code with the library.
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <cstdint>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "uefi/encoder.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

enum class Encoding : unsigned { kBinary, kDigits, kPacked, kText };

void addField(Bytes &area, Encoding encoding, const Bytes &data) {
  area.push_back(static_cast<std::uint8_t>(static_cast<unsigned>(encoding) << 6 | data.size()));
  area.insert(area.end(), data.begin(), data.end());
}

void addText(Bytes &area, std::string_view text) { addField(area, Encoding::kText, {text.begin(), text.end()}); }

/// Adds a BCD field: two digits per byte. The number of digits is even.
void addDigits(Bytes &area, std::string_view digits) {
  Bytes data;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    data.push_back(static_cast<std::uint8_t>((digits[i] - '0') << 4 | (digits[i + 1] - '0')));
  }
  addField(area, Encoding::kDigits, data);
}

/// Adds a six-bit field: four characters from blank to underscore in three bytes.
void addPacked(Bytes &area, std::string_view text) {
  Bytes data((text.size() * 6 + 7) / 8);
  for (std::size_t bit = 0; bit < text.size() * 6; ++bit) {
    const int value = text[bit / 6] - ' ';
    data[bit / 8] = static_cast<std::uint8_t>(data[bit / 8] | (value >> bit % 6 & 1) << bit % 8);
  }
  addField(area, Encoding::kPacked, data);
}

std::uint8_t checksum(const Bytes &bytes) {
  unsigned sum = 0;
  for (const std::uint8_t byte : bytes) {
    sum += byte;
  }
  return static_cast<std::uint8_t>(0U - sum);
}

/// Appends the end marker, the padding to a multiple of 8 bytes and the checksum, and sets the length.
Bytes closeArea(Bytes area) {
  area.push_back(0xC1);
  area.resize(area.size() / 8 * 8 + 7);
  area[1] = static_cast<std::uint8_t>((area.size() + 1) / 8);
  area.push_back(checksum(area));
  return area;
}

Bytes makeFru() {
  Bytes chassis = {1, 0, 0x17};  // rack mount
  addText(chassis, "CH-2U-100");
  addDigits(chassis, "20260302");
  addField(chassis, Encoding::kBinary, {0xCA, 0xFE});
  Bytes board = {1, 0, 25, 0x98, 0x76, 0xF2};  // 15,890,072 minutes after 1996 began
  for (const std::string_view text : {"Example Boards", "Sample Board", "SB-000042", "SB-1"}) {
    addText(board, text);
  }
  Bytes product = {1, 0, 25};
  addText(product, "Example Servers");
  addPacked(product, "SERVER 2U");
  for (const std::string_view text : {"SRV-2U", "A1", "0042-\x1b[31m", ""}) {  // the serial number steers terminals
    addText(product, text);
  }
  Bytes image = {1, 0};
  std::size_t end = 8;
  const Bytes areas[] = {closeArea(chassis), closeArea(board), closeArea(product)};
  for (const Bytes &area : areas) {
    image.push_back(static_cast<std::uint8_t>(end / 8));
    end += area.size();
  }
  image.resize(7);
  image.push_back(checksum(image));
  for (const Bytes &area : areas) {
    image.insert(image.end(), area.begin(), area.end());
  }
  return image;
}

Bytes readFile(const char *path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool writeFile(const char *path, const Bytes &bytes) {
  std::ofstream file(path, std::ios::binary);
  std::copy(bytes.begin(), bytes.end(), std::ostreambuf_iterator<char>(file));
  file.close();
  return !bytes.empty() && file.good();
}

struct Free {
  void operator()(EVP_PKEY *key) const { EVP_PKEY_free(key); }
  void operator()(EVP_MD_CTX *context) const { EVP_MD_CTX_free(context); }
};

bool sign(const Bytes &data, const char *keyPath, const char *signaturePath) {
  const std::unique_ptr<EVP_PKEY, Free> key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
  const std::unique_ptr<EVP_MD_CTX, Free> context(EVP_MD_CTX_new());
  Bytes publicKey(256);
  Bytes signature(256);
  std::size_t length = signature.size();
  std::uint8_t *end = publicKey.data();
  if (!key || !context || EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get()) != 1 ||
      EVP_DigestSign(context.get(), signature.data(), &length, data.data(), data.size()) != 1) {
    return false;
  }
  signature.resize(length);
  publicKey.resize(static_cast<std::size_t>(i2d_PUBKEY(key.get(), &end)));
  return writeFile(keyPath, publicKey) && writeFile(signaturePath, signature);
}

}  // namespace

int main(int argc, char **argv) {
  const std::vector<std::string> arguments(argv, argv + argc);
  bool isDone = false;
  if (argc == 3 && arguments[1] == "fru") {
    isDone = writeFile(argv[2], makeFru());
  } else if (argc == 5 && arguments[1] == "pack") {
    const auto form = arguments[2] == "tiano" ? vexora::uefi::Version::kTiano : vexora::uefi::Version::kUefi;
    isDone = writeFile(argv[4], vexora::uefi::compress(readFile(argv[3]), form));
  } else if (argc == 5 && arguments[1] == "sign") {
    isDone = sign(readFile(argv[2]), argv[3], argv[4]);
  }
  return isDone ? 0 : 1;
}
