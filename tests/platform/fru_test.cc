// SPDX-License-Identifier: Apache-2.0

#include "support/test.h"
#include "vexora/platform.h"

namespace vexora::test {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Read = std::tuple<int, std::string, int, std::string>;  // result, bytes, type/length byte, output

constexpr decltype(&vexora_get_fru_board_info) kGetters[] = {vexora_get_fru_chassis_info, vexora_get_fru_board_info,
                                                             vexora_get_fru_product_info};

// Reads from a copy of exactly the image's size, so that sanitizers report a read after it.
Read read(std::size_t area, const std::string &image, int field, int room = 70) {
  const Bytes exact(image.begin(), image.end());
  Bytes out(70, '~');
  std::uint8_t typeLength = 0xEE;
  int result = 1;
  const std::string output = capturedOutput([&] {
    result = kGetters[area](exact.data(), static_cast<int>(exact.size()), field, out.data(), room, &typeLength);
  });
  const std::string bytes(out.begin(), out.end());
  return {result, bytes.substr(0, bytes.find_last_not_of('~') + 1), typeLength, output};
}

// Chassis at 8, board at 24, product at 48.
const std::string image(
    "\1\0\1\3\6\0\0\xF5"
    "\1\2\x17\xC2pn\xC1s\xC3one\xC1\0\0\0"
    "\1\3\x19\x11\x22\x33\xC3"
    "BMC\xC0\xC2\x31\x32\1p\xC1"
    "\0\0\0\0\0\0\0"
    "\1\4\x19\xC2m0\xC1n\x42\x99\x88\xC0\xC4"
    "1234\xC2\x61t\xC0\xC5"
    "first\xC1",
    76);

TEST(Fru, FieldsAreReadUpToTheEndOfTheImage) {
  // The area, the field, its bytes, its type/length byte and its end in the image.
  const std::tuple<std::size_t, int, std::string, int, std::size_t> rows[] = {
      {0, 1, "\x17", 1, 11},    {0, 2, "pn", 0xC2, 14},        {0, 3, "s", 0xC1, 16},
      {0, 4, "one", 0xC3, 20},  {1, 1, "\x11\x22\x33", 3, 30}, {1, 2, "BMC", 0xC3, 34},
      {1, 3, "", 0xC0, 35},     {1, 4, "12", 0xC2, 38},        {1, 5, "p", 1, 40},
      {2, 1, "m0", 0xC2, 54},   {2, 2, "n", 0xC1, 56},         {2, 3, "\x99\x88", 0x42, 59},
      {2, 4, "", 0xC0, 60},     {2, 5, "1234", 0xC4, 65},      {2, 6, "at", 0xC2, 68},
      {2, 7, "first", 0xC5, 75}};
  for (const auto &[area, field, bytes, typeLength, end] : rows) {
    SCOPED_TRACE(testing::Message() << "area " << area << ", field " << field);
    const std::size_t offset = std::array<std::size_t, 3>{8, 24, 48}[area];
    for (std::size_t size = 8; size <= image.size(); ++size) {
      const auto [result, got, gotTypeLength, output] = read(area, image.substr(0, size), field);
      EXPECT_EQ(output.empty(), size >= offset) << size;
      EXPECT_EQ(std::tuple(result, got, gotTypeLength),
                size < end ? std::tuple(-1, std::string(), 0xEE) : std::tuple(0, bytes, typeLength))
          << size;
    }
    EXPECT_EQ(read(area, image, field, 1), Read(0, bytes.substr(0, 1), typeLength, ""));
  }
}

TEST(Fru, LongestFieldIsWalkedOver) {
  const std::string longest(63, 'x');
  const std::string product = std::string("\1\0\0\0\1\0\0\xFE\1\2\0\xFF", 12) + longest + "\1y";
  EXPECT_EQ(read(2, product, 1), Read(0, longest, 0xFF, ""));
  EXPECT_EQ(read(2, product, 2), Read(0, "y", 1, ""));
}

TEST(Fru, EndMarkerCountsForTheChassisAlone) {
  std::string marked = image;
  marked[16] = marked[69] = '\xC1';  // in place of "one" and of "first"
  EXPECT_EQ(read(0, marked.substr(0, 17), VEXORA_FRU_CHASSIS_CUSTOM), Read(0, "", 0, ""));
  EXPECT_EQ(read(2, marked, VEXORA_FRU_PRODUCT_CUSTOM), Read(0, "f", 0xC1, ""));
}

// A header whose checksum is one too high, and the printed report.
const std::string kBadSum("\1\2\3\4\5\6\7\xE5");
const std::string kMismatch =
    "[Warning]: FRU common header checksum mis-match! 0xe4 vs 0xe5 \n"
    "FRU Data:0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0xe5\n";

TEST(Fru, DamageIsReported) {
  for (std::size_t area = 0; const std::string word : {"chassis", "board", "product"}) {
    const std::string function = "vexora_get_fru_" + word + "_info";
    const std::string refusal = "Input parameters error in function " + function + ", ";
    EXPECT_EQ(read(area, std::string("\1\0\0\0\0\0\0\xFF", 8), 1),
              Read(0, "", 0, "[Warning]: No " + word + " information in FRU \n"));
    EXPECT_EQ(read(area, {"\1\0\2\2\2\0\0\xF9", 8}, 1),
              Read(-1, "", 0xEE, "[Warning]: Invalid " + word + " info offset(2) in FRU \n"));
    const std::string inHeader = "Check FRU Header info error in function " + function + "!\n";
    EXPECT_EQ(read(area, kBadSum, 1), Read(-1, "", 0xEE, kMismatch + inHeader));
    EXPECT_EQ(capturedOutput([&] { EXPECT_EQ(kGetters[area](nullptr, 23, 2, nullptr, 1, nullptr), -1); }),
              refusal + "(nil), 23, 2, (nil), 1, (nil)\n");
    for (const auto &[size, field, room] :
         {std::tuple(7U, 1, 1), {76, 0, 1}, {76, std::array{5, 6, 8}[area], 1}, {76, 1, 0}}) {
      const auto [result, bytes, typeLength, output] = read(area, image.substr(0, size), field, room);
      EXPECT_EQ(std::tuple(result, bytes, typeLength, output.substr(0, refusal.size())),
                std::tuple(-1, "", 0xEE, refusal))
          << size << " bytes, field " << field << ", room for " << room;
    }
    const auto *const fru = reinterpret_cast<const std::uint8_t *>(image.data());
    std::uint8_t byte = 0xEE;
    EXPECT_EQ(kGetters[area](nullptr, 76, 1, &byte, 1, &byte), -1);
    EXPECT_EQ(kGetters[area](fru, 76, 1, nullptr, 1, &byte), -1);
    EXPECT_EQ(kGetters[area](fru, 76, 1, &byte, 1, nullptr), -1);
    EXPECT_EQ(byte, 0xEE);
    ++area;
  }
}

TEST(Fru, HeaderIsCheckedByItself) {
  const std::string refusal = "Input parameters error in function vexora_check_fru_common_header, ";
  const auto *const header = reinterpret_cast<const std::uint8_t *>(image.data());
  for (const auto &[bad, message] :
       {std::pair(kBadSum, kMismatch), {"\2\0\0\0\0\0\0\xFE", "[Warning]: Invalid FRU format version(2) \n"}}) {
    const auto *const fru = reinterpret_cast<const std::uint8_t *>(bad.data());
    EXPECT_EQ(capturedOutput([&] { EXPECT_EQ(vexora_check_fru_common_header(fru, 8), -1); }), message);
  }
  EXPECT_EQ(capturedOutput([&] { EXPECT_EQ(vexora_check_fru_common_header(header, 8), 0); }), "");
  EXPECT_EQ(capturedOutput([&] { EXPECT_EQ(vexora_check_fru_common_header(header, 7), -1); }).find(refusal), 0U);
  EXPECT_EQ(capturedOutput([] { EXPECT_EQ(vexora_check_fru_common_header(nullptr, 8), -1); }), refusal + "(nil), 8\n");
}

TEST(ZeroChecksum, MakesTheSumZero) {
  Bytes bytes(600, 1);
  bytes[0] = 2;
  bytes[256] = 3;
  for (const auto &[count, whole, wrapped] :
       {std::tuple(0U, 0, 0), {7, 0xF8, 0xF8}, {255, 0, 0}, {256, 0xFF, 0xFF}, {257, 0xFC, 0xFE}}) {
    EXPECT_EQ(vexora_checksum_calc(bytes.data(), count), whole) << count;
    EXPECT_EQ(cal_zerosum(bytes.data(), count), wrapped) << count;
  }
  EXPECT_EQ(capturedOutput([] { EXPECT_EQ(vexora_checksum_calc(nullptr, 0), 255); }),
            "Input parameters error in function vexora_checksum_calc, (nil)\n");
}

}  // namespace
}  // namespace vexora::test
