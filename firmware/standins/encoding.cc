// SPDX-License-Identifier: Apache-2.0
// Base64 for the host. OpenSSL's block decoder accepts white space and misplaced padding and writes 3 bytes for a
// padded group too, so the text is checked first and the last group is decoded into a separate buffer.

#include "firmware/encoding.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace {

constexpr size_t kGroupCharacters = 4;
constexpr size_t kGroupBytes = 3;

// OpenSSL counts in int. A multiple of kGroupCharacters.
constexpr size_t kChunkCharacters = size_t{1} << 20;

bool isBase64Character(char character) {
  return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
         (character >= '0' && character <= '9') || character == '+' || character == '/';
}

size_t paddingOf(std::string_view text) {
  if (!text.ends_with('=')) {
    return 0;
  }
  return text.ends_with("==") ? 2 : 1;
}

void decode(std::string_view groups, unsigned char *out) {
  EVP_DecodeBlock(out, reinterpret_cast<const unsigned char *>(groups.data()), static_cast<int>(groups.size()));
}

}  // namespace

size_t cyoBase64Decode(void *out, const char *text, size_t length) {
  if (out == nullptr || text == nullptr || length == 0 || length % kGroupCharacters != 0) {
    return 0;
  }
  std::string_view rest(text, length);
  const size_t padding = paddingOf(rest);
  if (!std::all_of(rest.begin(), rest.end() - static_cast<std::ptrdiff_t>(padding), isBase64Character)) {
    return 0;
  }
  auto *at = static_cast<unsigned char *>(out);
  while (rest.size() > kGroupCharacters) {
    const std::string_view chunk = rest.substr(0, std::min(kChunkCharacters, rest.size() - kGroupCharacters));
    decode(chunk, at);
    at += chunk.size() / kGroupCharacters * kGroupBytes;
    rest.remove_prefix(chunk.size());
  }
  std::array<unsigned char, kGroupBytes> last{};
  decode(rest, last.data());
  std::copy_n(last.begin(), kGroupBytes - padding, at);
  return length / kGroupCharacters * kGroupBytes - padding;
}
