// SPDX-License-Identifier: Apache-2.0
//
// Count, query and clear. A query reads the data file into memory of its own, finds the first
// record by the estimate that records are an hour apart, corrects it by short steps, and emits from
// there on. Records with gaps between them can therefore begin before the asked range.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

#include "base/owners.h"
#include "containers/ring_storage.h"
#include "history/busy_flag.h"
#include "history/data_file.h"
#include "vexora/history.h"

using namespace vexora::history;

namespace {

/// The data file's content, read for one query into memory that no other thread sees.
class Records {
 public:
  /// Reads the data file; `isLoaded` tells whether it was there, whole and ours.
  Records() {
    busyFlag().store(kBusy);
    vexora::Stream file(std::fopen(kDataFile, "rbe"));
    if (file) {
      // From malloc: zeros would only be overwritten by the file.
      slots_.reset(static_cast<std::byte *>(std::malloc(kSlotsSize)));
    }
    if (slots_ && readImage(file.get(), header_, slots_.get()) != ReadResult::kWhole) {
      slots_.reset();
    }
    file.reset();
    busyFlag().store(kIdle);
  }

  [[nodiscard]] bool isLoaded() const { return slots_ != nullptr; }
  [[nodiscard]] std::int32_t count() const { return static_cast<std::int32_t>(header_.count); }

  /// The record at a position, 0 being the oldest.
  [[nodiscard]] const std::byte *at(std::int32_t position) const {
    const auto age = static_cast<std::uint32_t>(position);
    return slot(vexora::slotAfter(header_.head, age, kCapacity));
  }

  /// The records from a position on that lie in one run of slots, up to the newest or the last slot.
  [[nodiscard]] std::span<const std::byte> runFrom(std::int32_t position) const {
    const std::byte *const first = at(position);
    const auto untilWrap = static_cast<std::size_t>(slots_.get() + kSlotsSize - first);
    return {first, std::min(static_cast<std::size_t>(count() - position) * kRecordSize, untilWrap)};
  }

  [[nodiscard]] std::uint32_t timeAt(std::int32_t position) const { return timeOf(at(position)); }

  // An empty file has these, too: its slots hold times of 0.
  [[nodiscard]] std::uint32_t oldestTime() const { return timeOf(slot(header_.head)); }
  [[nodiscard]] std::uint32_t newestTime() const { return timeOf(slot(header_.tail)); }

  static std::uint32_t timeOf(const std::byte *record) {
    std::uint32_t time = 0;
    std::memcpy(&time, record + offsetof(vexora_history_record, query_time), sizeof time);
    return time;
  }

 private:
  [[nodiscard]] const std::byte *slot(std::uint32_t index) const {
    return slots_.get() + std::size_t{index} * kRecordSize;
  }

  Header header_{};
  vexora::HeapBlock<std::byte> slots_;
};

/// The position at which a range that begins at `start` is emitted. -1 for a file whose slots hold
/// times but whose count is 0.
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

/// A run of a record's bytes that an entry holds.
struct Piece {
  std::size_t offset;
  std::size_t size;
};

/// An entry's layout: two pieces of the record, one after the other.
struct EntryLayout {
  std::uint32_t type;
  Piece first;
  Piece second;
};

constexpr std::size_t kStatisticsSize = sizeof(vexora_history_statistics);
constexpr std::size_t kDateOffset = offsetof(vexora_history_record, hour);
constexpr std::size_t kDateSize = kRecordSize - kDateOffset;

constexpr EntryLayout kSensor3009Entry = {
    0, {offsetof(vexora_history_record, sensor_3009), kStatisticsSize}, {kDateOffset, kDateSize}};
constexpr EntryLayout kSensor7000Entry = {
    1, {offsetof(vexora_history_record, sensor_7000), kStatisticsSize}, {kDateOffset, kDateSize}};
constexpr EntryLayout kWholeEntry = {4, {0, kDateOffset}, {kDateOffset, kDateSize}};

/// Emits entries from `position` up to the first record at or after `end`. The layout is a template
/// argument so that each piece is copied by a few moves of known size.
template <const EntryLayout &Layout>
std::uint32_t emitEntries(const Records &records, std::int32_t position, std::uint32_t end, std::byte *out) {
  const std::byte *const begin = out;
  constexpr std::size_t kEntrySize = Layout.first.size + Layout.second.size;
  while (position < records.count()) {
    const std::span<const std::byte> run = records.runFrom(position);
    const std::byte *const runEnd = run.data() + run.size();
    for (const std::byte *record = run.data(); record != runEnd; record += kRecordSize) {
      if (Records::timeOf(record) >= end) {
        return static_cast<std::uint32_t>(static_cast<std::size_t>(out - begin) / kEntrySize);
      }
      std::memcpy(out, record + Layout.first.offset, Layout.first.size);
      std::memcpy(out + Layout.first.size, record + Layout.second.offset, Layout.second.size);
      out += kEntrySize;
    }
    position += static_cast<std::int32_t>(run.size() / kRecordSize);
  }
  return static_cast<std::uint32_t>(static_cast<std::size_t>(out - begin) / kEntrySize);
}

template <const EntryLayout &Layout>
int emit(const Records &records, std::int32_t position, std::uint32_t end, void *out, std::uint32_t &count) {
  const std::uint32_t emitted = emitEntries<Layout>(records, position, end, static_cast<std::byte *>(out));
  count += emitted;
  return static_cast<int>(emitted * (Layout.first.size + Layout.second.size));
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
  const bool knownType = type == kSensor3009Entry.type || type == kSensor7000Entry.type || type == kWholeEntry.type;
  if (out == nullptr || count == nullptr || end <= start || !knownType) {
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
  const std::int32_t position = firstPosition(records, start);
  if (position < 0) {
    return -1;
  }
  if (type == kSensor3009Entry.type) {
    return emit<kSensor3009Entry>(records, position, end, out, *count);
  }
  if (type == kSensor7000Entry.type) {
    return emit<kSensor7000Entry>(records, position, end, out, *count);
  }
  return emit<kWholeEntry>(records, position, end, out, *count);
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
