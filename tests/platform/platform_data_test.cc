// SPDX-License-Identifier: Apache-2.0

#include <sstream>

#include "support/test.h"
#include "vexora/platform.h"

namespace vexora::test {
namespace {

// Every key in the table's order, first lines with the number of their records, and five whole texts.
TEST(ShippedAdvice, IsTheKnownTable) {
  constexpr std::size_t kRecord = 2052;
  std::string room(1 + 255 * kRecord + 1, '\x5A');
  EXPECT_EQ(GetIdlAdviserArray(reinterpret_cast<std::uint8_t *>(room.data() + 1)), 0);
  EXPECT_EQ(std::pair(room.front(), room.back()), std::pair('\x5A', '\x5A'));
  std::string seen;
  std::vector<std::string> texts;
  std::map<std::string, int> firstLines;
  for (std::size_t at = 1; at < 255 * kRecord; at += kRecord) {
    const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(room[at + index]); };
    char key[16];
    std::snprintf(key, sizeof key, "\n%02X:", byte(0));
    seen += at == 1 ? key + 1 : room[at] == room[at - kRecord] ? "" : key;
    std::snprintf(key, sizeof key, " %02X/%02X/%02X", byte(1), byte(2), byte(3));
    seen += key;
    const std::string field = room.substr(at + 4, kRecord - 4);
    const std::string &text = texts.emplace_back(field.c_str());
    EXPECT_EQ(field, text + std::string(kRecord - 4 - text.size(), '\0'));
    ++firstLines[text.substr(0, text.find('\n'))];
  }
  seen += '\n';
  for (const auto &[line, number] : firstLines) {
    seen += '"' + line + "\" " + std::to_string(number) + '\n';
  }
  for (const unsigned record : {0U, 3U, 8U, 14U, 254U}) {
    seen += '"' + texts[record] + "\"\n";
  }
  EXPECT_EQ(seen, read(VEXORA_EXPECTED "advice_expected.txt"));
  EXPECT_EQ(std::ranges::max(texts, {}, &std::string::size).size(), 414U);
  EXPECT_EQ(GetIdlAdviserArrayNum(), 255);
  EXPECT_EQ(GetIdlAdviserArray(nullptr), -1);
}

TEST(PmbusReading, ScalesByTheSignedFiveBitExponent) {
  const std::tuple<std::uint32_t, std::uint32_t, float> rows[] = {
      {100, 2, 400.0F},  {100, 0x1F, 50.0F},        {100, 0x10, 0.00152587890625F},
      {100, 0, 100.0F},  {100, 0x3F, 50.0F},        {16777217, 0, 16777216.0F},
      {1, 15, 32768.0F}, {100, 0xFFFFFFE2, 400.0F}, {0xFFFFFFFF, 1, 8589934592.0F}};
  for (const auto &[mantissa, exponent, expected] : rows) {
    float value = -1;
    EXPECT_EQ(PMBUS_LinearFormatDataCalc(mantissa, exponent, &value), 0);
    EXPECT_EQ(value, expected) << mantissa << " " << exponent;
  }
  EXPECT_EQ(PMBUS_LinearFormatDataCalc(1, 1, nullptr), 0);
}

TEST(SharedVariables, AreZeroWhenTheLibraryIsLoaded) {
  std::istringstream names(read(VEXORA_EXPECTED "shared_variables.txt"));
  for (std::string kind, name; names >> kind >> name;) {
    const void *const variable = dlsym(RTLD_DEFAULT, name.c_str());
    ASSERT_NE(variable, nullptr) << name;
    const std::size_t size = kind == "integer" ? sizeof(std::int32_t) : sizeof(void *);
    EXPECT_EQ(std::string(static_cast<const char *>(variable), size), std::string(size, '\0')) << name;
  }
}

}  // namespace
}  // namespace vexora::test
