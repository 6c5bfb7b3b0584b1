// SPDX-License-Identifier: Apache-2.0
// UEFI decompression: our encoder's output is restored exactly, and damaged or hostile streams do no harm.

#include <span>

#include "base/bytes.h"
#include "support/test.h"
#include "uefi/encoder.h"
#include "vexora/platform.h"

namespace vexora::test {
namespace {

using uefi::Version;

constexpr char kUntouched = 'U';
const std::string kUntouchedScratch(13'376, kUntouched);
const std::string kMargin(33, '\xFF');  // odd, so that no area is aligned

// The bytes between the margins, which must be untouched.
std::string inside(const std::string &area) {
  std::string contents = area.substr(kMargin.size(), area.size() - 2 * kMargin.size());
  EXPECT_TRUE(area == kMargin + contents + kMargin);
  return contents;
}

// The result and the destination.
using Outcome = std::pair<int, std::string>;

std::string printed, scratchAfter;  // of the last call of decompress()

template <typename Form>
Outcome decompress(const std::string &image, Form form) {
  const auto version = static_cast<unsigned>(form);
  const std::vector<char> source(image.begin(), image.end());  // exactly the image's size
  const std::uint32_t size = loadLittle32(reinterpret_cast<const std::uint8_t *>(&image[4]));
  std::string destination = kMargin + std::string(size, kUntouched) + kMargin;
  std::string scratch = kMargin + kUntouchedScratch + kMargin;
  void *const to = &destination[kMargin.size()];
  void *const area = &scratch[kMargin.size()];
  int result = -2;
  printed = capturedOutput([&] {
    result =
        version == 1 ? UefiDecompress(source.data(), to, area) : UefiTianoDecompress(source.data(), to, area, version);
  });
  scratchAfter = inside(scratch);
  return {result, inside(destination)};
}

std::string sized(std::uint32_t compressed, std::uint32_t plain) {
  std::array<std::uint8_t, 8> header{};
  storeLittle32(&header[0], compressed);
  storeLittle32(&header[4], plain);
  return {header.begin(), header.end()};
}

std::string compress(const std::string &plain, Version version, const uefi::Options &options = {}) {
  const auto image =
      uefi::compress({reinterpret_cast<const std::uint8_t *>(plain.data()), plain.size()}, version, options);
  return {image.begin(), image.end()};
}

std::mt19937 randomness(1);

std::string randomBytes(std::size_t size) {
  std::string bytes(size, '\0');
  std::generate(bytes.begin(), bytes.end(), [] { return static_cast<char>(randomness()); });
  return bytes;
}

// Rare and frequent bytes, and copies of earlier bytes, near and far, of all lengths.
std::string text(std::size_t size) {
  std::string bytes = randomBytes(20);
  while (bytes.size() < size) {
    const std::size_t distance = randomness() % (randomness() % 2 == 0 ? 20 : bytes.size()) + 1;
    for (std::size_t length = randomness() % 300; length > 0; --length) {
      bytes += bytes[bytes.size() - distance];
    }
    bytes += static_cast<char>(randomness() & randomness());
  }
  return bytes;
}

std::string twice(const std::string &bytes) { return bytes + bytes; }

TEST(Uefi, WhatIsPackedComesBack) {
  const std::string samples[] = {"x",
                                 std::string(1'000'000, '\0'),
                                 text(4'000'000),
                                 twice(randomBytes(8192)),
                                 twice(randomBytes(524'288)),
                                 text(99'999) + randomBytes(70'000)};
  const uefi::Options variants[] = {{}, {.matches = false}, {.longWords = true, .blockSymbols = 65'535, .tries = 4}};
  for (const Version version : {Version::kUefi, Version::kTiano}) {
    SCOPED_TRACE(static_cast<unsigned>(version));
    for (const std::string &sample : samples) {
      for (const uefi::Options &options : std::span(variants).first(sample.size() > 400'000 ? 1 : 3)) {
        EXPECT_TRUE(decompress(compress(sample, version, options), version) == (Outcome{0, sample}))
            << sample.size() << " bytes, variant " << &options - variants;
      }
    }
  }
}

TEST(Uefi, CutStreamsGoOnWithZeros) {
  const std::string plain = text(900) + std::string(300, 'z');
  const std::string stream = compress(plain, Version::kTiano, {.longWords = true, .blockSymbols = 60}).substr(8);
  const auto size = static_cast<std::uint32_t>(plain.size());
  for (std::uint32_t length = 0; length < stream.size(); ++length) {
    const std::string cut = stream.substr(0, length);
    const std::string padded = sized(length + 9999, size) + cut + std::string(9999, '\0');
    EXPECT_TRUE(decompress(sized(length, size) + cut, 2) == decompress(padded, 2)) << length;
  }
}

// The image of a stream that is written as digits; spaces are ignored.
std::string imageOf(std::string bits, std::uint32_t plain) {
  bits.erase(std::remove(bits.begin(), bits.end(), ' '), bits.end());
  std::string bytes((bits.size() + 7) / 8, '\0');
  for (std::size_t at = 0; at < bits.size(); ++at) {
    bytes[at / 8] = static_cast<char>(bytes[at / 8] + (bits[at] == '1' ? 0x80 >> at % 8 : 0));
  }
  return sized(static_cast<std::uint32_t>(bytes.size()), plain) + bytes;
}

// A block of 65,536 symbols; a match of 3 is 0, 'a' is 10, 'b' is 11.
const std::string kLetters =
    "0000000000000000 00101 000 000 001 00 010 010 100000001 0 001001101 11 11 0 010001001 10 ";
const std::string kBlock = "0000000000000001 ";
const std::string kLiteralA = kBlock + "00000 00000 000000000 001000001 ";

TEST(Uefi, HandMadeStreams) {
  // What it is, the stream, the form, and the destination, which is untouched from the fault on.
  const std::tuple<const char *, std::string, unsigned, std::string> rows[] = {
      {"a block of 65,536 symbols, one of a symbol, then no stream",
       "0000000000000000 00000 00000 000000000 001000001 0000 0000 " + kBlock +
           "00000 00000 000000000 001000010 0000 0000",
       1, std::string(65'536, 'A') + "B" + std::string(4463, '\0')},
      {"the last match is cut", kLetters + "00000 00001 10 11 0 0", 2, "abababa"},
      {"a match from before the beginning", kLetters + "0000 0010 10 11 0 0", 1, "abUUUUUUU"},
      {"three extras, then zeros", kBlock + "00011 000 001 001 11 000000000 001000001 0000 0000", 1, "A"},
      {"more lengths than extras",
       kBlock + "11111 001 001 000 11" + std::string(39, '0') + "101101101101 101101101101 101101101101 " +
           "000000000 001000001 0000 0000",
       1, "A"},
      {"zeros beyond the characters", "0000000000000010 00100 000 000 001 00 001 111111111 1 1 0 111111111 0000 0000 0",
       1, std::string(1, '\0')},
      {"an extra code with half its words", kBlock + "00001 001", 1, "U"},
      {"an extra code with too many words", kBlock + "00100 001 001 001 00 001", 1, "U"},
      {"an extra length of 17", kBlock + "00011 001 001 111 11111111110", 1, "U"},
      {"an extra that there is not", kBlock + "00000 10011 000000001", 1, "U"},
      {"and that nothing asks for", kBlock + "00000 10011 000000000 001000001 0000 0000", 1, "A"},
      {"no such character", kLiteralA + "0000 0000" + kBlock + "00000 00000 000000000 111111110", 1, "AUU"},
      {"511 characters of length 9", kBlock + "00000 01011 111111111", 1, "U"},
      {"31 positions", kLetters + "11111 001" + std::string(87, '0') + "001 10 0 0", 2, "aaaa"},
      {"a position that there is not", kLetters + "00000 11111 10 0", 2, "aUUU"},
      {"and that no match asks for", kLetters + "00000 11111 10 11", 2, "ab"},
      {"positions with half their words", kLiteralA + "0010 001 010", 1, "U"},
  };
  for (const auto &[what, stream, version, plain] : rows) {
    const std::string image = imageOf(stream, static_cast<std::uint32_t>(plain.size()));
    EXPECT_EQ(decompress(image, version), Outcome(plain.ends_with(kUntouched) ? -1 : 0, plain)) << what;
  }
}

TEST(Uefi, PrintsSizesAndFirstBits) {
  const std::string image = imageOf("1111 1110 1101 1100 1011 1010 1001 1000" + std::string(24, '0'), 3);
  const std::string sizes = "UefiTianoDecompress----size:13376, CompSize:7, OrigSize:3\r\n";
  decompress(image, 1);
  EXPECT_EQ(printed, sizes + "UefiTianoDecompress: mBitBuf: 0xfedcba98\r\n");
  for (const unsigned version : {0U, 3U, 0x8000'0001U}) {
    EXPECT_EQ(decompress(image, version), Outcome(-1, std::string(3, kUntouched))) << version;
    EXPECT_EQ(printed, sizes);
    EXPECT_EQ(scratchAfter, std::string(13'376, '\0'));
    EXPECT_EQ(decompress(sized(0xFFFF'FFFF, 0), version).first, 0) << version;
    EXPECT_EQ(printed, "UefiTianoDecompress----size:13376, CompSize:-1, OrigSize:0\r\n");
    EXPECT_EQ(scratchAfter, kUntouchedScratch);
  }
}

TEST(Uefi, InfoRefusesShortImages) {
  const std::tuple<std::uint32_t, std::uint32_t, int> rows[] = {
      {100, 107, -1}, {100, 108, 0}, {0, 7, -1}, {0, 8, 0}, {0xFFFF'FFF7, UINT32_MAX, 0}, {0xFFFF'FFF8, 200, -1},
  };
  for (const auto &[compressed, sourceSize, result] : rows) {
    const std::string image = "." + sized(compressed, 0x8765'4321);
    std::uint32_t plain = 1;
    std::uint32_t scratch = 2;
    EXPECT_EQ(UefiDecompressGetInfo(&image[1], sourceSize, &plain, &scratch), result);
    EXPECT_EQ(std::pair(plain, scratch), result == 0 ? std::pair(0x8765'4321U, 13'376U) : std::pair(1U, 2U))
        << compressed << " in " << sourceSize;
  }
  std::uint32_t size = 1;
  const std::string image = sized(0, 1);
  std::string scratch = kUntouchedScratch;
  for (int missing = 0; missing < 3; ++missing) {
    const char *const source = missing == 0 ? nullptr : image.data();
    std::uint32_t *const to = missing == 1 ? nullptr : &size;
    EXPECT_EQ(UefiDecompressGetInfo(source, 8, to, missing == 2 ? nullptr : &size), -1) << missing;
    EXPECT_EQ(UefiDecompress(source, to, missing == 2 ? nullptr : scratch.data()), -1) << missing;
  }
  EXPECT_EQ(size, 1U);
  EXPECT_EQ(scratch, kUntouchedScratch);
  EXPECT_EQ(UefiDecompress(sized(0, 0).data(), nullptr, nullptr), 0);
}

}  // namespace
}  // namespace vexora::test
