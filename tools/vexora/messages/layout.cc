// SPDX-License-Identifier: Apache-2.0
#include "messages/layout.h"

#include <algorithm>

#include "ipc/request_layout.h"

namespace vexora::tool {
namespace {

using namespace vexora::ipc;

constexpr RequestField kMca[] = {{"kind", 1, true}, {"zero", kRecordOffset - 1}, {"request", kMcaRecordSize}};
constexpr RequestField kIdl[] = {{"zero", kRecordOffset},
                                 {"log type", 1, true},
                                 {"record", kIdlTimeOffset - 1},
                                 {"time", 4, true},
                                 {"record", kIdlRecordSize - kIdlTimeOffset - 4},
                                 {"zero", kQueueRequestSize - kRecordOffset - kIdlRecordSize}};
constexpr RequestField kOneKeyLog[] = {{"kind", 1, true}, {"zero", kOneKeyLogRequestSize - 1}};
constexpr RequestField kSel[] = {{"zero", kSelRecordOffset}, {"record", kTaskFailureData[0]},
                                 {"data 1", 1, true},        {"record", kTaskFailureData[1] - kTaskFailureData[0] - 1},
                                 {"data 2", 1, true},        {"data 3", 1, true}};
constexpr RequestField kMupr[] = {{"data", VEXORA_PIPE_RECORD_MAX}};
constexpr RequestField kComponent[] = {{"command", sizeof(MonitorCommand::code), true},
                                       {"instance", sizeof(MonitorCommand::instance), true},
                                       {"zero", sizeof(MonitorCommand::reserved)},
                                       {"response flag", sizeof(MonitorCommand::responseFlag), true},
                                       {"data length", sizeof(MonitorCommand::dataLength), true},
                                       {"data", sizeof(MonitorCommand::data)}};
constexpr RequestField kRaid[] = {{"first", 1, true}, {"second", 1, true}};

constexpr RequestLayout kLayouts[] = {
    {"mca", kMcaQueueKey, nullptr, kQueueRequestSize, kMca},
    {"idl", kIdlQueueKey, nullptr, kQueueRequestSize, kIdl},
    {"onekeylog", 0, kOneKeyLogPipe, kOneKeyLogRequestSize, kOneKeyLog},
    {"sel", 0, kIpmiMainPipe, kSelRecordOffset + kSelRecordSize, kSel},
    {"mupr", 0, kMuprPipe, VEXORA_PIPE_RECORD_MAX, kMupr},
    {"component", 0, VEXORA_MONITOR_PIPE, sizeof(MonitorCommand), kComponent},
    {"raid", 0, kRaidPipe, 2, kRaid},
};

bool isZero(std::span<const std::uint8_t> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

std::string row(std::size_t offset, std::span<const std::uint8_t> bytes, const std::string &beside) {
  return format("%04zx  %-47s  %-18s  ", offset, toHex(bytes, " ").c_str(), charactersOf(bytes).c_str()) + beside +
         "\n";
}

std::string showField(const RequestField &field, std::size_t offset, std::span<const std::uint8_t> bytes) {
  const std::string name = field.name;
  if (field.isNumber) {
    const auto number = static_cast<std::uint32_t>(littleEndian(bytes));
    return row(offset, bytes, name + format(" = %u (0x%x)", number, number));
  }
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += kBytesInRow) {
    const auto rest = bytes.subspan(at);
    const bool first = at == 0;
    text += row(offset + at, rest.first(std::min(kBytesInRow, rest.size())), first ? name : "");
    if (rest.size() > 2 * kBytesInRow && isZero(rest)) {
      return text + "*     zeros to " + std::to_string(offset + bytes.size() - 1) + "\n";
    }
  }
  return text;
}

/// Calls `use` with each field, its offset, and its bytes as far as the record has them.
template <class Use>
void forEachField(const RequestLayout &layout, std::span<const std::uint8_t> bytes, Use use) {
  std::size_t offset = 0;
  for (const RequestField &field : layout.fields) {
    const auto rest = bytes.subspan(std::min(offset, bytes.size()));
    use(field, offset, rest.first(std::min(field.size, rest.size())));
    offset += field.size;
  }
}

}  // namespace

std::span<const RequestLayout> requestLayouts() { return kLayouts; }

const RequestLayout *findLayout(const std::string &name) {
  const auto *found = std::find_if(std::begin(kLayouts), std::end(kLayouts),
                                   [&](const RequestLayout &layout) { return name == layout.name; });
  return found == std::end(kLayouts) ? nullptr : found;
}

std::string componentPipe(unsigned kind, unsigned instance) { return format(kComponentPipe, kind, instance); }

void needQueues(const Session &session) {
  if (!session.root.empty()) {
    throw Failure(kUsage, "message queues belong to the running system: none can be reached with --root");
  }
}

std::string showRequest(const RequestLayout &layout, std::span<const std::uint8_t> bytes) {
  std::string text;
  forEachField(layout, bytes, [&](const RequestField &field, std::size_t offset, std::span<const std::uint8_t> part) {
    text += part.empty() ? "" : showField(field, offset, part);
  });
  return text;
}

Json requestJson(const RequestLayout &layout, std::span<const std::uint8_t> bytes) {
  Json fields = array();
  forEachField(layout, bytes, [&](const RequestField &field, std::size_t offset, std::span<const std::uint8_t> part) {
    fields.append(object({{"name", field.name},
                          {"offset", offset},
                          {"value", field.isNumber ? Json(littleEndian(part)) : Json(toHex(part))}}));
  });
  return object({{"request", layout.name}, {"fields", fields}, {"bytes", toHex(bytes)}});
}

}  // namespace vexora::tool
