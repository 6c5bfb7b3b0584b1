// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <climits>
#include <initializer_list>
#include <span>
#include <string>
#include <tuple>
#include <utility>

#include "vexora/text.h"

namespace vexora::test {
namespace {

TEST(Words, StandInTheirSlots) {
  std::string all;
  for (const auto &table : std::initializer_list<std::span<const char *>>{
           AuthProtocols, HostIDs, PrivProtocols, EnableStr, EnabledStrLittleLetter, AutoStrLittleLetter, SyslogTagStr,
           SyslogEnableStr, SyslogProtocalStr, SyslogTypeStr, SyslogLevelStr, TrapVersionStr, CompressionModeStr,
           VideoQualityStr, EventLevelStr}) {
    for (const char *word : table) {
      all.append(word == nullptr ? "-" : word).append(",");
    }
  }
  EXPECT_EQ(all,
            "SHA,MD5,NONE,SHA256,SHA384,SHA512,HostName,SerialNum,AssetTag,AES,DES,NONE,AES128,Disable,Enable,disable,"
            "enable,manual,auto,HostName,SerialNumber,PartNumber,SyslogEnable,LocalEnable,RemoteEnable,UDP,TCP,"
            "TLSOneWay,TLSTwoWay,-,-,None,Idl,Audit,Idl + Audit,Info,Warning,Critical,Alert,Disable,V1,V2C,V3,High,"
            "Normal,Low,No,VeryLow,Low,Average,Normal,High,Info,Warning,Critical,");
}

TEST(Words, AreFoundWholeInTheirTables) {
  for (const auto &[isWord, last, other] : {std::tuple(&ValidateAUTHProtocol, "SHA512", "SHA1"),
                                            {&ValidateHostID, "AssetTag", "SerialNumber"},
                                            {&ValidatePrivProtocol, "AES128", "SHA"}}) {
    EXPECT_EQ(isWord(last), 0) << last;
    EXPECT_EQ(isWord(other), -1) << other;
    EXPECT_EQ(isWord(nullptr), -1) << last;
  }
  // The last word of a table, its slot and the table's functions.
  const std::tuple<const char *, unsigned, int (*)(const char *, unsigned char *), int (*)(unsigned, char *, size_t)>
      rows[] = {
          {"Enable", 1, ValidateEnableDisable, ValidateEnableDisableIndexToString},
          {"enable", 1, ValidateEnableDisableLittleLetter, nullptr},
          {"auto", 1, ValidateAutoManualLittleLetter, nullptr},
          {"PartNumber", 2, ValidateSyslogTagStrToIndex, ValidateSyslogTagIndexToString},
          {"RemoteEnable", 2, ValidateSyslogEnableStrToIndex, ValidateSyslogEnableIndexToString},
          {"TLSTwoWay", 3, ValidateSyslogProtocalStrToIndex, ValidateSyslogProtocalIndexToString},
          {"Idl + Audit", 3, ValidateSyslogTypeStrToIndex, ValidateSyslogTypeIndexToString},
          {"Alert", 3, ValidateSyslogLevelStrToIndex, ValidateSyslogLevelIndexToString},
          {"V3", 3, ValidateSnmpTrapVersion, nullptr},
          {"No", 3, ValidateCompressionMode, ValidateCompressionModeIndexToString},
          {"High", 4, ValidateVideoQuality, ValidateVideoQualityIndexToString},
          {"Critical", 2, ValidateEventLevelStrToIndex, nullptr},
      };
  for (const auto &[word, slot, toIndex, toWord] : rows) {
    unsigned char index = 0xFF;
    char text[16] = "";
    SCOPED_TRACE(word);
    EXPECT_EQ(toIndex(word, &index), 0);
    EXPECT_EQ(std::exchange(index, 0xFF), slot);
    EXPECT_EQ(toIndex((std::string(word) + " ").c_str(), &index), 1);
    EXPECT_EQ(toIndex(nullptr, &index), 1);
    EXPECT_EQ(toIndex(word, nullptr), 1);
    EXPECT_EQ(index, 0xFF);
    if (toWord != nullptr) {
      EXPECT_EQ(toWord(slot, nullptr, 16), 1);
      EXPECT_EQ(toWord(slot + 1, text, 16), 1);
      EXPECT_STREQ(text, "");
      EXPECT_EQ(toWord(slot, text, 16), 0);
      EXPECT_STREQ(text, word);
    }
  }
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
  EXPECT_EQ(ValidateIndexToString(VideoQualityStr, 0, 5, nullptr, 6), 1);
  EXPECT_EQ(ValidateIndexToString(VideoQualityStr, 0, 5, text, 0), 0);
  EXPECT_STREQ(text, "~~~~~~");
  EXPECT_EQ(ValidateIndexToString(VideoQualityStr, 0, 1, text, 4), 0);
  EXPECT_EQ(std::string(text, 6), std::string("Ver\0~~", 6));
  // The array that counts is the one in the program's image, as it is now.
  const char *const word = std::exchange(EnableStr[1], nullptr);
  EXPECT_EQ(ValidateEnableDisable("Enable", &index), 1);
  EnableStr[1] = word;
  EXPECT_EQ(ValidateEventLevelStrToIndex("Alert", &index), 1);
  EXPECT_EQ(index, 0xFF);
}

}  // namespace
}  // namespace vexora::test
