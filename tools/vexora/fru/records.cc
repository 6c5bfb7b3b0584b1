// SPDX-License-Identifier: Apache-2.0
#include "fru/records.h"

#include <array>
#include <cstdlib>
#include <optional>

#include "core/tool.h"

namespace vexora::tool::fru {
namespace {

constexpr std::array<const char *, 11> kTypeNames = {"Power supply",
                                                     "DC output",
                                                     "DC load",
                                                     "Management access",
                                                     "Base compatibility",
                                                     "Extended compatibility",
                                                     "ASF fixed SMBus device",
                                                     "ASF legacy-device alerts",
                                                     "ASF remote control",
                                                     "Extended DC output",
                                                     "Extended DC load"};
constexpr std::uint8_t kManagementAccess = 3;
constexpr std::uint8_t kFirstOem = 0xC0;

constexpr const char *kVoltages[] = {"12 V", "-12 V", "5 V", "3.3 V"};
constexpr const char *kNoYes[] = {"no", "yes"};

constexpr std::uint8_t kUniqueId = 7;
constexpr const char *kAccessTypes[] = {"",
                                        "System management URL",
                                        "System name",
                                        "System ping address",
                                        "Component management URL",
                                        "Component name",
                                        "Component ping address",
                                        "System unique ID"};

/// A little-endian value of 1 to 3 bytes, or some of its bits.
struct Item {
  const char *name;
  std::size_t at;
  std::size_t size;
  const char *unit = "";
  unsigned decimals = 0;  // 2: in hundredths of the unit
  unsigned firstBit = 0;
  unsigned bits = 0;  // 0: all
  bool isSigned = false;
  bool mayBeUnknown = false;  // all bits set means "not stated"
  std::span<const char *const> words = {};
};

constexpr Item volts(const char *name, std::size_t at) {
  return {.name = name, .at = at, .size = 2, .unit = "V", .decimals = 2, .isSigned = true};
}

constexpr Item kPowerSupply[] = {
    {.name = "Capacity", .at = 0, .size = 2, .unit = "W", .bits = 12},
    {.name = "Peak apparent power", .at = 2, .size = 2, .unit = "VA", .mayBeUnknown = true},
    {.name = "Inrush current", .at = 4, .size = 1, .unit = "A", .mayBeUnknown = true},
    {.name = "Inrush interval", .at = 5, .size = 1, .unit = "ms"},
    volts("Lowest input, range 1", 6),
    volts("Highest input, range 1", 8),
    volts("Lowest input, range 2", 10),
    volts("Highest input, range 2", 12),
    {.name = "Lowest input frequency", .at = 14, .size = 1, .unit = "Hz"},
    {.name = "Highest input frequency", .at = 15, .size = 1, .unit = "Hz"},
    {.name = "Tolerated drop-out", .at = 16, .size = 1, .unit = "ms"},
    {.name = "Predictive failure pin", .at = 17, .size = 1, .firstBit = 0, .bits = 1, .words = kNoYes},
    {.name = "Power factor correction", .at = 17, .size = 1, .firstBit = 1, .bits = 1, .words = kNoYes},
    {.name = "Input switches by itself", .at = 17, .size = 1, .firstBit = 2, .bits = 1, .words = kNoYes},
    {.name = "Hot swap", .at = 17, .size = 1, .firstBit = 3, .bits = 1, .words = kNoYes},
    {.name = "Peak capacity", .at = 18, .size = 2, .unit = "W", .bits = 12},
    {.name = "Peak hold-up time", .at = 18, .size = 2, .unit = "s", .firstBit = 12, .bits = 4},
    {.name = "Combined voltage 1", .at = 20, .size = 1, .firstBit = 4, .bits = 4, .words = kVoltages},
    {.name = "Combined voltage 2", .at = 20, .size = 1, .firstBit = 0, .bits = 4, .words = kVoltages},
    {.name = "Combined capacity", .at = 21, .size = 2, .unit = "W"},
    {.name = "Tachometer threshold", .at = 23, .size = 1, .unit = "/s"},
};

constexpr Item kDcOutput[] = {
    {.name = "Output", .at = 0, .size = 1, .bits = 4},
    {.name = "On in standby", .at = 0, .size = 1, .firstBit = 7, .bits = 1, .words = kNoYes},
    volts("Nominal", 1),
    volts("Lowest deviation", 3),
    volts("Highest deviation", 5),
    {.name = "Ripple and noise", .at = 7, .size = 2, .unit = "mV"},
    {.name = "Lowest current", .at = 9, .size = 2, .unit = "mA"},
    {.name = "Highest current", .at = 11, .size = 2, .unit = "mA"},
};

constexpr Item kDcLoad[] = {
    {.name = "Output", .at = 0, .size = 1, .bits = 4},
    volts("Nominal", 1),
    volts("Lowest voltage", 3),
    volts("Highest voltage", 5),
    {.name = "Ripple and noise", .at = 7, .size = 2, .unit = "mV"},
    {.name = "Lowest current", .at = 9, .size = 2, .unit = "mA"},
    {.name = "Highest current", .at = 11, .size = 2, .unit = "mA"},
};

constexpr Item kCompatibility[] = {
    {.name = "Manufacturer ID", .at = 0, .size = 3},
    {.name = "Entity ID", .at = 3, .size = 1},
    {.name = "Compatibility base", .at = 4, .size = 1},
    {.name = "First compatible code", .at = 5, .size = 1},
};

// Without the currents: their unit differs from record to record.
constexpr std::span<const Item> kExtendedOutput = std::span(kDcOutput).first(6);
constexpr std::span<const Item> kExtendedLoad = std::span(kDcLoad).first(5);
constexpr std::span<const Item> kOem = std::span(kCompatibility).first(1);

std::span<const Item> itemsOf(std::uint8_t type) {
  constexpr std::array<std::span<const Item>, kTypeNames.size()> kItems = {
      kPowerSupply, kDcOutput, kDcLoad, {}, kCompatibility, kCompatibility, {}, {}, {}, kExtendedOutput, kExtendedLoad};
  return type < kItems.size() ? kItems[type] : type >= kFirstOem ? kOem : std::span<const Item>();
}

std::string withUnit(long value, const Item &item) {
  const std::string text =
      item.decimals == 2 ? format("%s%ld.%02ld", value < 0 ? "-" : "", std::labs(value) / 100, std::labs(value) % 100)
                         : std::to_string(value);
  return text + (*item.unit == '\0' ? "" : " ") + item.unit;
}

std::optional<std::string> valueOf(View data, const Item &item) {
  if (item.at > data.size() || item.size > data.size() - item.at) {
    return std::nullopt;
  }
  auto raw = static_cast<std::uint32_t>(littleEndian(data.subspan(item.at, item.size)));
  if (item.mayBeUnknown && raw == (1U << 8 * item.size) - 1) {
    return "not stated";
  }
  if (item.bits != 0) {
    raw = raw >> item.firstBit & ((1U << item.bits) - 1);
  }
  if (raw < item.words.size()) {
    return item.words[raw];
  }
  return withUnit(item.isSigned ? static_cast<std::int16_t>(raw) : static_cast<long>(raw), item);
}

std::vector<std::pair<std::string, std::string>> managementAccess(View data) {
  if (data.empty()) {
    return {};
  }
  const View value = data.subspan(1);
  const Encoding encoding = data[0] == kUniqueId ? Encoding::kBinary : Encoding::kLatin1;
  const bool known = data[0] >= 1 && data[0] < std::size(kAccessTypes);
  return {{known ? kAccessTypes[data[0]] : "Type " + std::to_string(data[0]), decode(value, encoding).text}};
}

}  // namespace

const char *recordTypeName(std::uint8_t type) {
  return type < kTypeNames.size() ? kTypeNames[type] : type >= kFirstOem ? "OEM" : "Reserved";
}

std::vector<std::pair<std::string, std::string>> decodeRecord(const Record &record) {
  if (record.type == kManagementAccess) {
    return managementAccess(record.data);
  }
  std::vector<std::pair<std::string, std::string>> decoded;
  for (const Item &item : itemsOf(record.type)) {
    if (auto value = valueOf(record.data, item)) {
      decoded.emplace_back(item.name, *std::move(value));
    }
  }
  return decoded;
}

}  // namespace vexora::tool::fru
