// SPDX-License-Identifier: Apache-2.0
//
// The words of the settings' enumerations. Stored settings contain slot numbers, so a word never moves. Programs may
// contain a copy of an array (copy relocation), so none ever grows, and every lookup reads the exported array itself,
// never constants that the compiler folded in.

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <optional>

#include "vexora/text.h"

const char *AuthProtocols[6] = {"SHA", "MD5", "NONE", "SHA256", "SHA384", "SHA512"};
const char *HostIDs[3] = {"HostName", "SerialNum", "AssetTag"};
const char *PrivProtocols[4] = {"AES", "DES", "NONE", "AES128"};
const char *EnableStr[2] = {"Disable", "Enable"};
const char *EnabledStrLittleLetter[2] = {"disable", "enable"};
const char *AutoStrLittleLetter[2] = {"manual", "auto"};
const char *SyslogTagStr[3] = {"HostName", "SerialNumber", "PartNumber"};
const char *SyslogEnableStr[3] = {"SyslogEnable", "LocalEnable", "RemoteEnable"};
const char *SyslogProtocalStr[6] = {"UDP", "TCP", "TLSOneWay", "TLSTwoWay", nullptr, nullptr};
const char *SyslogTypeStr[4] = {"None", "Idl", "Audit", "Idl + Audit"};
const char *SyslogLevelStr[4] = {"Info", "Warning", "Critical", "Alert"};
const char *TrapVersionStr[4] = {"Disable", "V1", "V2C", "V3"};
const char *CompressionModeStr[4] = {"High", "Normal", "Low", "No"};
const char *VideoQualityStr[5] = {"VeryLow", "Low", "Average", "Normal", "High"};
const char *EventLevelStr[3] = {"Info", "Warning", "Critical"};

namespace {

std::optional<int> slotOf(const char *const *table, const char *text, int count) {
  for (int slot = 0; slot < count; ++slot) {
    if (table[slot] != nullptr && std::strcmp(table[slot], text) == 0) {
      return slot;
    }
  }
  return std::nullopt;
}

template <std::size_t kSlots>
int isWordOf(const char *(&table)[kSlots], const char *text) {
  return vexora_valid_strparams(table, text, static_cast<int>(kSlots));
}

template <std::size_t kSlots>
int toIndex(const char *(&table)[kSlots], const char *text, unsigned char *index) {
  return ValidateStrToOrder(table, text, static_cast<int>(kSlots), index);
}

template <std::size_t kSlots>
int toWord(const char *(&table)[kSlots], unsigned index, char *dst, size_t dstSize) {
  return ValidateIndexToString(table, index, static_cast<int>(kSlots), dst, dstSize);
}

}  // namespace

int vexora_valid_strparams(const char **table, const char *text, int count) {
  return table != nullptr && text != nullptr && slotOf(table, text, count) ? 0 : -1;
}

int ValidateStrToOrder(const char **table, const char *text, int count, unsigned char *index) {
  if (table == nullptr || text == nullptr || index == nullptr) {
    return 1;
  }
  const std::optional<int> slot = slotOf(table, text, count);
  if (!slot) {
    return 1;
  }
  *index = static_cast<unsigned char>(*slot);
  return 0;
}

int ValidateIndexToString(const char **table, unsigned index, int count, char *dst, size_t dstSize) {
  if (table == nullptr || dst == nullptr || count <= 0 || index >= static_cast<unsigned>(count) ||
      table[index] == nullptr) {
    return 1;
  }
  static_cast<void>(std::snprintf(dst, dstSize, "%s", table[index]));
  return 0;
}

int ValidateAUTHProtocol(const char *text) { return isWordOf(AuthProtocols, text); }

int ValidateHostID(const char *text) { return isWordOf(HostIDs, text); }

int ValidatePrivProtocol(const char *text) { return isWordOf(PrivProtocols, text); }

int ValidateEnableDisable(const char *text, unsigned char *index) { return toIndex(EnableStr, text, index); }

int ValidateEnableDisableLittleLetter(const char *text, unsigned char *index) {
  return toIndex(EnabledStrLittleLetter, text, index);
}

int ValidateAutoManualLittleLetter(const char *text, unsigned char *index) {
  return toIndex(AutoStrLittleLetter, text, index);
}

int ValidateSyslogTagStrToIndex(const char *text, unsigned char *index) { return toIndex(SyslogTagStr, text, index); }

int ValidateSyslogEnableStrToIndex(const char *text, unsigned char *index) {
  return toIndex(SyslogEnableStr, text, index);
}

int ValidateSyslogProtocalStrToIndex(const char *text, unsigned char *index) {
  return toIndex(SyslogProtocalStr, text, index);
}

int ValidateSyslogTypeStrToIndex(const char *text, unsigned char *index) { return toIndex(SyslogTypeStr, text, index); }

int ValidateSyslogLevelStrToIndex(const char *text, unsigned char *index) {
  return toIndex(SyslogLevelStr, text, index);
}

int ValidateSnmpTrapVersion(const char *text, unsigned char *index) { return toIndex(TrapVersionStr, text, index); }

int ValidateCompressionMode(const char *text, unsigned char *index) { return toIndex(CompressionModeStr, text, index); }

int ValidateVideoQuality(const char *text, unsigned char *index) { return toIndex(VideoQualityStr, text, index); }

int ValidateEventLevelStrToIndex(const char *text, unsigned char *index) { return toIndex(EventLevelStr, text, index); }

int ValidateEnableDisableIndexToString(unsigned index, char *dst, size_t dstSize) {
  return toWord(EnableStr, index, dst, dstSize);
}

int ValidateSyslogTagIndexToString(unsigned index, char *dst, size_t dstSize) {
  return toWord(SyslogTagStr, index, dst, dstSize);
}

int ValidateSyslogEnableIndexToString(unsigned index, char *dst, size_t dstSize) {
  return toWord(SyslogEnableStr, index, dst, dstSize);
}

int ValidateSyslogProtocalIndexToString(unsigned index, char *dst, size_t dstSize) {
  return toWord(SyslogProtocalStr, index, dst, dstSize);
}

int ValidateSyslogTypeIndexToString(unsigned index, char *dst, size_t dstSize) {
  return toWord(SyslogTypeStr, index, dst, dstSize);
}

int ValidateSyslogLevelIndexToString(unsigned index, char *dst, size_t dstSize) {
  return toWord(SyslogLevelStr, index, dst, dstSize);
}

int ValidateCompressionModeIndexToString(unsigned index, char *dst, size_t dstSize) {
  return toWord(CompressionModeStr, index, dst, dstSize);
}

int ValidateVideoQualityIndexToString(unsigned index, char *dst, size_t dstSize) {
  return toWord(VideoQualityStr, index, dst, dstSize);
}
