// SPDX-License-Identifier: Apache-2.0
//
// Count, query and clear. A query reads the data file into its own memory. It estimates the first record's position
// from records that are an hour apart, corrects it by short steps, and emits from there on. When records have gaps, the
// first one can therefore be before the requested range.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <utility>

#include "base/owners.h"
#include "containers/ring_storage.h"
#include "history/busy_flag.h"
#include "history/data_file.h"
#include "vexora/history.h"

using namespace vexora::history;

namespace {

using Half = std::uint16_t;

/// A record as queries copy it.
struct alignas(std::uint32_t) Record {
  std::array<Half, kRecordSize / sizeof(Half)> halves;

  [[nodiscard]] std::uint32_t time() const {
    constexpr std::size_t kAt = offsetof(vexora_history_record, query_time) / sizeof(Half);
    std::uint32_t time = 0;
    std::memcpy(&time, std::assume_aligned<sizeof time>(halves.data() + kAt), sizeof time);
    return time;
  }
};
static_assert(sizeof(Record) == kRecordSize);

/// The data file's content, read for one query.
class Records {
 public:
  /// Reads the data file; `isLoaded` returns whether it exists and is whole and ours.
  Records() {
    busyFlag().store(kBusy);
    vexora::Stream file(std::fopen(kDataFile, "rbe"));
    if (file) {
      // malloc: the file overwrites everything.
      slots_.reset(static_cast<Record *>(std::malloc(kSlotsSize)));
    }
    if (slots_ && readImage(file.get(), header_, slots_.get()) != ReadResult::kWhole) {
      slots_.reset();
    }
    file.reset();
    busyFlag().store(kIdle);
  }

  [[nodiscard]] bool isLoaded() const { return slots_ != nullptr; }
  [[nodiscard]] std::int32_t count() const { return static_cast<std::int32_t>(header_.count); }

  /// Returns the next records from a position on (0 is the oldest) that are in consecutive slots, at most `most`.
  [[nodiscard]] std::span<const Record> blockFrom(std::int32_t position, std::uint32_t most) const {
    const std::uint32_t first = slotAt(position);
    const std::uint32_t left = header_.count - static_cast<std::uint32_t>(position);
    return {slots_.get() + first, std::min({left, kCapacity - first, most})};
  }

  [[nodiscard]] std::uint32_t timeAt(std::int32_t position) const { return slots_.get()[slotAt(position)].time(); }

  // Valid for an empty file, too: its slots have times of 0.
  [[nodiscard]] std::uint32_t oldestTime() const { return slots_.get()[header_.head].time(); }
  [[nodiscard]] std::uint32_t newestTime() const { return slots_.get()[header_.tail].time(); }

 private:
  [[nodiscard]] std::uint32_t slotAt(std::int32_t position) const {
    return vexora::slotAfter(header_.head, static_cast<std::uint32_t>(position), kCapacity);
  }

  Header header_{};
  vexora::HeapBlock<Record> slots_;
};

/// Returns the position of the first record of a range that begins at `start`; -1 for a file whose slots have times but
/// whose count is 0.
std::int32_t firstPosition(const Records &records, std::uint32_t start) {
  const std::uint32_t oldest = records.oldestTime();
  if (start <= oldest) {
    return 0;
  }
  const std::int32_t last = records.count() - 1;
  const auto estimate = static_cast<std::int32_t>((start - oldest) / kHourSeconds + 1);
  std::int32_t position = std::min(estimate, last);
  if (position <= 1) {
    return position;
  }
  while (position > 0 && start < records.timeAt(position - 1)) {
    --position;
  }
  while (position < last && start > records.timeAt(position + 1)) {
    ++position;
  }
  return position;
}

enum Type : std::uint32_t { kSensor3009 = 0, kSensor7000 = 1, kWhole = 4 };

constexpr std::size_t kSensor7000At = offsetof(vexora_history_record, sensor_7000) / sizeof(Half);
constexpr std::size_t kSensor3009At = offsetof(vexora_history_record, sensor_3009) / sizeof(Half);
constexpr std::size_t kDateAt = offsetof(vexora_history_record, hour) / sizeof(Half);

// An entry of one sensor: its statistics, then the part of the record after both sensors' statistics.
using Statistics = std::make_index_sequence<3>;
using Rest = std::make_index_sequence<8>;
constexpr std::size_t kEntryHalves = Statistics::size() + Rest::size();
constexpr std::uint32_t kEntrySize = kEntryHalves * sizeof(Half);

// Entries of one sensor are found and built in blocks that stay in the processor's cache.
constexpr std::uint32_t kMaxBlock = 128;

/// Copies halves one by one. On ARM a memcpy of few unaligned bytes is a call.
template <std::size_t... At>
void copyHalves(Half *to, const Half *from, std::index_sequence<At...>) {
  ((to[At] = from[At]), ...);
}

/// Emits a block's entries; returns the position of the next one in the output.
std::byte *emit(std::span<const Record> records, std::uint32_t type, std::byte *out) {
  if (type == kWhole) {
    std::memcpy(out, records.data(), records.size_bytes());
    return out + records.size_bytes();
  }
  const std::size_t sensorAt = type == kSensor3009 ? kSensor3009At : kSensor7000At;
  // The output may begin at an odd address, so entries are built in an aligned block. It is not cleared: clearing costs
  // more than a day's entries.
  __attribute__((uninitialized)) std::array<Half, kMaxBlock * kEntryHalves> block;
  // Two pointers: with one, gcc for x86-64 builds slow vectors across both parts.
  Half *statistics = block.data();
  Half *rest = block.data() + Statistics::size();
  for (const Record &record : records) {
    copyHalves(statistics, &record.halves[sensorAt], Statistics());
    copyHalves(rest, &record.halves[kDateAt], Rest());
    statistics += kEntryHalves;
    rest += kEntryHalves;
  }
  std::memcpy(out, block.data(), records.size() * kEntrySize);
  return out + records.size() * kEntrySize;
}

}  // namespace

int getHistoryDataNum(uint32_t *count) {
  if (HistoryDataRing == nullptr) {
    return -1;
  }
  *count = vexora::recordCount(*HistoryDataRing);
  return 0;
}

int getHistoryData(void *out, uint32_t type, uint32_t start, uint32_t end, uint32_t *count) {
  if (out == nullptr || count == nullptr || end <= start ||
      (type != kSensor3009 && type != kSensor7000 && type != kWhole)) {
    return -1;
  }
  const Records records;
  if (!records.isLoaded()) {
    return -1;
  }
  if (start > records.newestTime() || end < records.oldestTime()) {
    *count = 0;
    return 0;
  }
  std::int32_t position = firstPosition(records, start);
  if (position < 0) {
    return -1;
  }
  const std::uint32_t most = type == kWhole ? kCapacity : kMaxBlock;
  auto *const begin = static_cast<std::byte *>(out);
  std::byte *at = begin;
  for (bool ended = false; !ended && position < records.count();) {
    const std::span<const Record> block = records.blockFrom(position, most);
    const auto last =
        std::find_if(block.begin(), block.end(), [end](const Record &record) { return record.time() >= end; });
    at = emit({block.begin(), last}, type, at);
    position += static_cast<std::int32_t>(block.size());
    ended = last != block.end();
  }
  const auto bytes = static_cast<int>(at - begin);
  *count += static_cast<std::uint32_t>(bytes) / (type == kWhole ? kRecordSize : kEntrySize);
  return bytes;
}

int clearHistoryData() {
  if (busyFlag().exchange(kBusy) == kBusy) {
    return -1;
  }
  int result = -1;
  if (HistoryDataRing != nullptr && vexora_ringlist_flush(HistoryDataRing) == 0) {
    result = std::remove(kDataFile);
  }
  busyFlag().store(kIdle);
  return result;
}
