// SPDX-License-Identifier: Apache-2.0
#include "messages/layout.h"

#include <algorithm>

#include <vexora/ipc.h>

namespace vexora::tool {
namespace {

constexpr std::size_t kRow = 16;

constexpr RequestField kMca[] = {{"kind", 0, 1, true}, {"zero", 1, 3, false}, {"request", 4, 256, false}};
constexpr RequestField kIdl[] = {{"zero", 0, 4, false}, {"log type", 4, 1, true},   {"record", 5, 7, false},
                                 {"time", 12, 4, true}, {"record", 16, 208, false}, {"zero", 224, 36, false}};
constexpr RequestField kOneKeyLog[] = {{"kind", 0, 1, true}, {"zero", 1, 259, false}};
constexpr RequestField kSel[] = {{"zero", 0, 2, false},   {"record", 2, 6, false}, {"data 1", 8, 1, true},
                                 {"record", 9, 1, false}, {"data 2", 10, 1, true}, {"data 3", 11, 1, true}};
constexpr RequestField kMupr[] = {{"data", 0, VEXORA_PIPE_RECORD_MAX, false}};
constexpr RequestField kComponent[] = {{"command", 0, 2, true},     {"instance", 2, 1, true},
                                       {"zero", 3, 1, false},       {"response flag", 4, 4, true},
                                       {"data length", 8, 4, true}, {"data", 12, VEXORA_COMPONENT_DATA_MAX, false}};
constexpr RequestField kRaid[] = {{"first", 0, 1, true}, {"second", 1, 1, true}};

constexpr RequestLayout kLayouts[] = {
    {"mca", 12347, nullptr, 260, kMca},
    {"idl", 12345, nullptr, 260, kIdl},
    {"onekeylog", 0, "/var/vexora_okl_pipe", 260, kOneKeyLog},
    {"sel", 0, "/var/vexora_ipmimain_pipe", 12, kSel},
    {"mupr", 0, "/var/tmp/ipmi_mupr_cmu_pipe", VEXORA_PIPE_RECORD_MAX, kMupr},
    {"component", 0, "/var/compmonreq", 524, kComponent},
    {"raid", 0, "/var/raid_replace_moni_cmd_pipe", 2, kRaid},
};

std::string characters(std::span<const std::uint8_t> bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
  }
  return text;
}

bool isZero(std::span<const std::uint8_t> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

std::string row(std::size_t offset, std::span<const std::uint8_t> bytes, const std::string &beside) {
  return format("%04zx  %-47s  %-18s  ", offset, toHex(bytes, " ").c_str(), ("|" + characters(bytes) + "|").c_str()) +
         beside + "\n";
}

std::string showField(const RequestField &field, std::span<const std::uint8_t> bytes) {
  const std::string name = field.name;
  if (field.isNumber) {
    const auto number = static_cast<std::uint32_t>(littleEndian(bytes));
    return row(field.offset, bytes, name + format(" = %u (0x%x)", number, number));
  }
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += kRow) {
    const auto rest = bytes.subspan(at);
    const bool first = at == 0;
    text += row(field.offset + at, rest.first(std::min(kRow, rest.size())), first ? name : "");
    if (rest.size() > 2 * kRow && isZero(rest)) {
      return text + "*     zeros to " + std::to_string(field.offset + bytes.size() - 1) + "\n";
    }
  }
  return text;
}

/// Returns a field's bytes, as far as the record has them.
std::span<const std::uint8_t> partOf(const RequestField &field, std::span<const std::uint8_t> bytes) {
  const std::size_t begin = std::min(field.offset, bytes.size());
  return bytes.subspan(begin, std::min(field.size, bytes.size() - begin));
}

}  // namespace

std::span<const RequestLayout> requestLayouts() { return kLayouts; }

const RequestLayout *findLayout(const std::string &name) {
  const auto *found = std::find_if(std::begin(kLayouts), std::end(kLayouts),
                                   [&](const RequestLayout &layout) { return name == layout.name; });
  return found == std::end(kLayouts) ? nullptr : found;
}

std::string showRequest(const RequestLayout &layout, std::span<const std::uint8_t> bytes) {
  std::string text;
  for (const RequestField &field : layout.fields) {
    const auto part = partOf(field, bytes);
    text += part.empty() ? "" : showField(field, part);
  }
  return text;
}

Json requestJson(const RequestLayout &layout, std::span<const std::uint8_t> bytes) {
  const Json fields = list(layout.fields, [&](const RequestField &field) {
    const auto part = partOf(field, bytes);
    return object({{"name", field.name},
                   {"offset", field.offset},
                   {"value", field.isNumber ? Json(littleEndian(part)) : Json(toHex(part))}});
  });
  return object({{"request", layout.name}, {"fields", fields}, {"bytes", toHex(bytes)}});
}

}  // namespace vexora::tool
