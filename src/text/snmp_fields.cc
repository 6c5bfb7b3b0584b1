// SPDX-License-Identifier: Apache-2.0
//
// Fields of the SNMP trap settings.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iterator>

#include "text/characters.h"
#include "vexora/text.h"

namespace {

constexpr int kRefused = 1;
constexpr int kBadCharacter = 1;
constexpr int kBadLength = 2;

constexpr int kMaxInput = 16;

// 5 to 24 octets.
constexpr std::size_t kMinEngineDigits = 10;
constexpr std::size_t kMaxEngineDigits = 48;

/// Sensor types with configurable traps; those from 0xC0 up are OEM types.
constexpr std::uint8_t kTrapDeviceTypes[] = {
    0x04, 0x05, 0x07, 0x08, 0x0A, 0x0B, 0x0C, 0x0D, 0x0F, 0x10, 0x11, 0x12, 0x14, 0x15, 0x17, 0x18, 0x19,
    0x1B, 0x1D, 0x1E, 0x1F, 0x20, 0x22, 0x23, 0x27, 0x28, 0xC9, 0xD0, 0xD1, 0xD2, 0xD3, 0xD5, 0xD7, 0xFF,
};

/// NULs pad fields of fixed width, but may also come earlier.
bool isFieldByte(unsigned char byte) { return byte == 0 || (byte > ' ' && byte <= '~'); }

}  // namespace

int ValidateSNMPTrapCfgInput(const unsigned char *buffer, int length) {
  if (buffer == nullptr || length <= 0 || length > kMaxInput) {
    return kRefused;
  }
  return std::all_of(buffer, buffer + length, &isFieldByte) ? 0 : kRefused;
}

int ValidateSNMPTrapCfgEngineID(const char *engineId, int maxDigits) {
  if (engineId[0] == '\0') {
    return 0;
  }
  // A negative limit means none: as an unsigned number it is larger than any count.
  const auto limit = static_cast<std::size_t>(maxDigits);
  std::size_t digits = 0;
  while (digits != limit && vexora::text::isOneOf(vexora::text::kHexDigits, engineId[digits])) {
    ++digits;
  }
  if (digits != limit && engineId[digits] != '\0') {
    std::printf("[%s %d] Invalid Engine ID:%s\n", __func__, __LINE__, engineId);
    return kBadCharacter;
  }
  if (digits % 2 != 0 || digits < kMinEngineDigits || digits > kMaxEngineDigits) {
    std::printf("[%s %d] Invalid Engine ID length!\n", __func__, __LINE__);
    return kBadLength;
  }
  return 0;
}

int ValidateSNMPTrapCfgDeviceType(unsigned type) {
  const auto end = std::end(kTrapDeviceTypes);
  return std::find(std::begin(kTrapDeviceTypes), end, type) != end ? 0 : kRefused;
}
