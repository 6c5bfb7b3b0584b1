// SPDX-License-Identifier: Apache-2.0
#include "fru/text.h"

#include <algorithm>
#include <array>

#include "core/tool.h"

namespace vexora::tool::fru {
namespace {

constexpr std::array<const char *, 5> kNames = {"binary", "bcd-plus", "six-bit", "latin-1", "utf-16"};

// The last three codes are undefined.
constexpr std::string_view kBcdDigits = "0123456789 -.???";
constexpr std::size_t kBcdMeaningful = 13;
constexpr std::string_view kHexDigits = "0123456789abcdef";

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kFirstPair = 0x10000;  // from here on UTF-16 needs two units

bool isHighHalf(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLowHalf(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

void appendUtf8(std::string &text, char32_t code) {
  const auto put = [&](char32_t byte) { text += static_cast<char>(byte); };
  if (code < 0x80) {
    put(code);
  } else if (code < 0x800) {
    put(0xC0 | code >> 6);
    put(0x80 | (code & 0x3F));
  } else {
    if (code < kFirstPair) {
      put(0xE0 | code >> 12);
    } else {
      put(0xF0 | code >> 18);
      put(0x80 | (code >> 12 & 0x3F));
    }
    put(0x80 | (code >> 6 & 0x3F));
    put(0x80 | (code & 0x3F));
  }
}

std::u32string codePoints(std::string_view text) {
  std::u32string codes;
  while (!text.empty()) {
    const std::size_t length = utf8Length(text);
    if (length == 0) {
      throw Failure(kFinding, "'" + printable(text) + "' is not UTF-8");
    }
    char32_t code = static_cast<unsigned char>(text[0]);
    code &= length == 1 ? 0x7FU : 0xFFU >> (length + 1);
    for (std::size_t i = 1; i < length; ++i) {
      code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3FU);
    }
    codes += code;
    text.remove_prefix(length);
  }
  return codes;
}

[[noreturn]] void refuse(char32_t code, Encoding encoding) {
  std::string character;
  appendUtf8(character, code);
  throw Failure(kFinding, "'" + printable(character) + "' has no place in " + nameOf(encoding));
}

std::string decodeBcd(View bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += kBcdDigits[byte >> 4U];
    text += kBcdDigits[byte & 0xFU];
  }
  return text;
}

Bytes encodeBcd(std::string_view text) {
  Bytes bytes;
  bool high = true;
  for (const char32_t code : codePoints(text)) {
    const std::size_t digit = code < 0x80 ? kBcdDigits.find(static_cast<char>(code)) : std::string_view::npos;
    if (digit >= kBcdMeaningful) {
      refuse(code, Encoding::kBcdPlus);
    }
    if (high) {
      bytes.push_back(static_cast<std::uint8_t>(digit << 4U | kBcdDigits.find(' ')));
    } else {
      bytes.back() = static_cast<std::uint8_t>((bytes.back() & 0xF0U) | digit);
    }
    high = !high;
  }
  return bytes;
}

/// Six bits per character, from blank on; the first one is in the lowest bits.
std::string decodeSixBit(View bytes) {
  std::string text;
  unsigned bits = 0;
  unsigned held = 0;
  for (const std::uint8_t byte : bytes) {
    bits |= static_cast<unsigned>(byte) << held;
    for (held += 8; held >= 6; held -= 6, bits >>= 6U) {
      text += static_cast<char>(' ' + (bits & 0x3FU));
    }
  }
  return text;
}

Bytes encodeSixBit(std::string_view text) {
  Bytes bytes;
  unsigned bits = 0;
  unsigned held = 0;
  for (const char32_t code : codePoints(text)) {
    if (code < ' ' || code > '_') {
      refuse(code, Encoding::kSixBit);
    }
    bits |= (code - ' ') << held;
    held += 6;
    if (held >= 8) {
      bytes.push_back(static_cast<std::uint8_t>(bits));
      bits >>= 8U;
      held -= 8;
    }
  }
  if (held > 0) {
    bytes.push_back(static_cast<std::uint8_t>(bits));
  }
  return bytes;
}

std::string decodeLatin1(View bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    appendUtf8(text, byte);
  }
  return text;
}

Bytes encodeLatin1(std::string_view text) {
  Bytes bytes;
  for (const char32_t code : codePoints(text)) {
    if (code > 0xFF) {
      refuse(code, Encoding::kLatin1);
    }
    bytes.push_back(static_cast<std::uint8_t>(code));
  }
  return bytes;
}

std::string decodeUtf16(View bytes) {
  const auto unit = [&](std::size_t i) -> char32_t {
    return i + 1 < bytes.size() ? bytes[i] | static_cast<char32_t>(bytes[i + 1]) << 8U : kReplacement;
  };
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    const char32_t first = unit(i);
    if (isHighHalf(first) && isLowHalf(unit(i + 2))) {
      appendUtf8(text, kFirstPair + ((first & 0x3FFU) << 10U | (unit(i + 2) & 0x3FFU)));
      i += 2;
    } else {
      appendUtf8(text, isHighHalf(first) || isLowHalf(first) ? kReplacement : first);
    }
  }
  return text;
}

Bytes encodeUtf16(std::string_view text) {
  Bytes bytes;
  const auto put = [&](char32_t unit) {
    bytes.push_back(static_cast<std::uint8_t>(unit));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8U));
  };
  for (const char32_t code : codePoints(text)) {
    if (code >= kFirstPair) {
      put(0xD800 | (code - kFirstPair) >> 10U);
      put(0xDC00 | (code & 0x3FFU));
    } else {
      put(code);
    }
  }
  return bytes;
}

Bytes encodeHex(std::string_view text) {
  if (auto bytes = fromHex(text)) {
    return *std::move(bytes);
  }
  throw Failure(kFinding, "'" + printable(text) + "' is not pairs of hexadecimal digits");
}

struct Codec {
  std::string (*decode)(View bytes);
  Bytes (*encode)(std::string_view text);
};

constexpr std::array<Codec, 5> kCodecs = {{{[](View bytes) { return toHex(bytes); }, encodeHex},
                                           {decodeBcd, encodeBcd},
                                           {decodeSixBit, encodeSixBit},
                                           {decodeLatin1, encodeLatin1},
                                           {decodeUtf16, encodeUtf16}}};

const Codec &codec(Encoding encoding) { return kCodecs[static_cast<std::size_t>(encoding)]; }

}  // namespace

Encoding encodingOf(unsigned type, bool english) {
  return type == 3 && !english ? Encoding::kUtf16 : static_cast<Encoding>(type);
}

unsigned typeOf(Encoding encoding) { return std::min(static_cast<unsigned>(encoding), 3U); }

const char *nameOf(Encoding encoding) { return kNames[static_cast<std::size_t>(encoding)]; }

std::optional<Encoding> encodingNamed(std::string_view name) {
  const auto *const found = std::find(kNames.begin(), kNames.end(), name);
  return found == kNames.end() ? std::nullopt : std::optional(static_cast<Encoding>(found - kNames.begin()));
}

Text decode(View bytes, Encoding encoding) {
  Text decoded = {codec(encoding).decode(bytes), false};
  try {
    decoded.exact = std::ranges::equal(encode(decoded.text, encoding), bytes);
  } catch (const Failure &) {
    decoded.exact = false;  // there are undefined digits
  }
  return decoded;
}

Bytes encode(std::string_view text, Encoding encoding) { return codec(encoding).encode(text); }

}  // namespace vexora::tool::fru
