// SPDX-License-Identifier: Apache-2.0

#include <span>

#include "support/test.h"
#include "vexora/text.h"

namespace vexora::test {
namespace {

using Words = std::span<const char *>;

// Each table with its functions; `all` are the words in their slots.
TEST(Words, AreFoundWholeInTheirSlots) {
  std::string all;
  for (const auto &[words, isWord] : {std::tuple(Words(AuthProtocols), &ValidateAUTHProtocol),
                                      {HostIDs, &ValidateHostID},
                                      {PrivProtocols, &ValidatePrivProtocol}}) {
    for (const char *word : words) {
      EXPECT_EQ(isWord(word), 0) << word;
      all.append(word).append(",");
    }
    EXPECT_EQ(isWord("SHA1"), -1) << all;
    EXPECT_EQ(isWord(nullptr), -1) << all;
  }
  const std::tuple<Words, int (*)(const char *, unsigned char *), int (*)(unsigned, char *, size_t)> rows[] = {
      {EnableStr, ValidateEnableDisable, ValidateEnableDisableIndexToString},
      {EnabledStrLittleLetter, ValidateEnableDisableLittleLetter, nullptr},
      {AutoStrLittleLetter, ValidateAutoManualLittleLetter, nullptr},
      {SyslogTagStr, ValidateSyslogTagStrToIndex, ValidateSyslogTagIndexToString},
      {SyslogEnableStr, ValidateSyslogEnableStrToIndex, ValidateSyslogEnableIndexToString},
      {SyslogProtocalStr, ValidateSyslogProtocalStrToIndex, ValidateSyslogProtocalIndexToString},
      {SyslogTypeStr, ValidateSyslogTypeStrToIndex, ValidateSyslogTypeIndexToString},
      {SyslogLevelStr, ValidateSyslogLevelStrToIndex, ValidateSyslogLevelIndexToString},
      {TrapVersionStr, ValidateSnmpTrapVersion, nullptr},
      {CompressionModeStr, ValidateCompressionMode, ValidateCompressionModeIndexToString},
      {VideoQualityStr, ValidateVideoQuality, ValidateVideoQualityIndexToString},
      {EventLevelStr, ValidateEventLevelStrToIndex, nullptr},
  };
  for (const auto &[words, toIndex, toWord] : rows) {
    SCOPED_TRACE(words[0]);
    for (unsigned slot = 0; slot <= words.size(); ++slot) {
      const char *const word = slot < words.size() ? words[slot] : nullptr;
      unsigned char index = 0xFF;
      char text[16] = "";
      EXPECT_EQ(toIndex(word, &index), word == nullptr ? 1 : 0) << slot;
      EXPECT_EQ(index, word == nullptr ? 0xFF : slot);
      if (toWord != nullptr) {
        EXPECT_EQ(toWord(slot, text, 16), word == nullptr ? 1 : 0) << slot;
        EXPECT_STREQ(text, word == nullptr ? "" : word);
      }
      all.append(word == nullptr ? "-" : word).append(",");
    }
    unsigned char index = 0xFF;
    EXPECT_EQ(toIndex((std::string(words[0]) + " ").c_str(), &index), 1);
    EXPECT_EQ(toIndex(words[0], nullptr), 1);
    EXPECT_EQ(index, 0xFF);
    EXPECT_EQ(toWord == nullptr ? 1 : toWord(0, nullptr, 16), 1);
  }
  EXPECT_EQ(all,
            "SHA,MD5,NONE,SHA256,SHA384,SHA512,HostName,SerialNum,AssetTag,AES,DES,NONE,AES128,Disable,Enable,-,"
            "disable,enable,-,manual,auto,-,HostName,SerialNumber,PartNumber,-,SyslogEnable,LocalEnable,RemoteEnable,-,"
            "UDP,TCP,TLSOneWay,TLSTwoWay,-,-,-,None,Idl,Audit,Idl + Audit,-,Info,Warning,Critical,Alert,-,Disable,V1,"
            "V2C,V3,-,High,Normal,Low,No,-,VeryLow,Low,Average,Normal,High,-,Info,Warning,Critical,-,");
}

TEST(Words, LookupsKeepToTheirSlotsAndTheirRoom) {
  unsigned char index = 0xFF;
  char text[] = "~~~~~~";
  for (const auto &[table, count] : {std::pair(&EnableStr[0], 0), {EnableStr, INT_MIN}, {nullptr, 2}}) {
    SCOPED_TRACE(count);
    EXPECT_EQ(vexora_valid_strparams(table, "Disable", count), -1);
    EXPECT_EQ(ValidateStrToOrder(table, "Disable", count, &index), 1);
    EXPECT_EQ(ValidateIndexToString(table, 0, count, text, sizeof text), 1);
  }
  EXPECT_EQ(ValidateIndexToString(VideoQualityStr, 0, 5, text, 0), 0);
  EXPECT_STREQ(text, "~~~~~~");
  EXPECT_EQ(ValidateIndexToString(VideoQualityStr, 0, 1, text, 4), 0);
  EXPECT_EQ(std::string(text, 6), std::string("Ver\0~~", 6));
  // The array that counts is the one in the program's image, as it is now.
  const char *const word = std::exchange(EnableStr[1], nullptr);
  EXPECT_EQ(ValidateEnableDisable("Enable", &index), 1);
  EnableStr[1] = word;
  EXPECT_EQ(index, 0xFF);
}

}  // namespace
}  // namespace vexora::test
