// SPDX-License-Identifier: Apache-2.0
#include "history/file.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <utility>

namespace vexora::tool::history {
namespace {

using Bytes = std::span<const std::uint8_t>;

std::uint16_t load16(Bytes bytes, std::size_t at) {
  return static_cast<std::uint16_t>(bytes[at] | static_cast<unsigned>(bytes[at + 1]) << 8);
}

std::uint32_t load32(Bytes bytes, std::size_t at) {
  return load16(bytes, at) | static_cast<std::uint32_t>(load16(bytes, at + 2)) << 16;
}

struct HeaderField {
  const char *name;
  std::uint32_t Header::*value;
  std::uint32_t least;
  std::uint32_t most;
};

// In the file's order, 4 bytes each.
constexpr HeaderField kFields[] = {{"head", &Header::head, 0, kCapacity - 1},
                                   {"tail", &Header::tail, 0, kCapacity - 1},
                                   {"record size", &Header::itemSize, kRecordSize, kRecordSize},
                                   {"capacity", &Header::capacity, kCapacity, kCapacity},
                                   {"count", &Header::count, 0, kCapacity}};

void readHeader(Bytes bytes, DataFile &file) {
  std::size_t at = 0;
  for (const HeaderField &field : kFields) {
    const std::uint32_t value = load32(bytes, at);
    file.header.*field.value = value;
    if (value < field.least || value > field.most) {
      const std::string bound = std::string(field.least == field.most ? "must be " : "can be at most ");
      file.refusals.push_back(
          {"header",
           at,
           {},
           std::string(field.name) + " is " + std::to_string(value) + ", " + bound + std::to_string(field.most)});
    }
    at += sizeof value;
  }
}

Record readRecord(Bytes bytes, std::uint32_t number, bool hasSign) {
  Record record;
  record.slot = number;
  const Bytes slot = bytes.subspan(record.offset(), kRecordSize);
  const auto figure = [&](std::size_t at) {
    const std::uint16_t low = load16(slot, at);
    return hasSign ? static_cast<std::int16_t>(low) : int{low};
  };
  record.sensor7000 = {figure(0), figure(2), figure(4)};
  record.sensor3009 = {figure(6), figure(8), figure(10)};
  record.hour = load16(slot, 12);
  record.day = load16(slot, 14);
  record.month = load16(slot, 16);
  record.year = load16(slot, 18);
  record.firstTime = load32(slot, 20);
  record.time = load32(slot, 24);
  record.damage = damageOf(record);
  return record;
}

/// The slots of a file whose header says nothing, oldest first: from the first on, or from where the time falls most
/// when no slot is empty, since a full ring overwrites its oldest records.
std::vector<Record> leftRecords(Bytes bytes, bool hasSign) {
  std::vector<Record> records;
  const std::size_t slots = bytes.size() < kHeaderSize ? 0 : (bytes.size() - kHeaderSize) / kRecordSize;
  for (std::uint32_t slot = 0; slot < std::min<std::size_t>(slots, kCapacity); ++slot) {
    records.push_back(readRecord(bytes, slot, hasSign));
  }
  if (std::erase_if(records, [](const Record &record) { return record.damage == kEmptySlot; }) == 0) {
    std::size_t first = 0;
    std::int64_t fall = 0;
    std::size_t before = 0;
    for (std::size_t i = 1; i < records.size(); ++i) {
      if (records[before].time - records[i].time > fall && records[i].damage.empty()) {
        fall = records[before].time - records[i].time;
        first = i;
      }
      before = records[i].damage.empty() ? i : before;
    }
    std::rotate(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(first), records.end());
  }
  return records;
}

}  // namespace

DataFile parseDataFile(Bytes bytes, const Reading &reading) {
  DataFile file;
  file.size = bytes.size();
  if (bytes.size() >= kHeaderSize) {
    readHeader(bytes, file);
  }
  const bool hasHeader = bytes.size() >= kHeaderSize && file.refusals.empty();
  if (bytes.size() < kFileSize) {
    file.refusals.push_back(
        {"size",
         bytes.size(),
         {},
         "the file ends after " + std::to_string(bytes.size()) + " of " + std::to_string(kFileSize) + " bytes"});
  }
  if (hasHeader && (file.refusals.empty() || reading.salvage)) {
    for (std::uint32_t age = 0; age < file.header.count; ++age) {
      const std::uint32_t slot = (file.header.head + age) % kCapacity;
      if (kHeaderSize + std::size_t{slot + 1} * kRecordSize <= bytes.size()) {
        file.records.push_back(readRecord(bytes, slot, reading.hasSign));
      }
    }
  } else if (reading.salvage) {
    file.records = leftRecords(bytes, reading.hasSign);
  }
  for (std::size_t i = 0; i < file.records.size(); ++i) {
    file.records[i].age = static_cast<std::uint32_t>(i);
  }
  return file;
}

std::vector<Record> soundRecords(const DataFile &file) {
  std::vector<Record> sound;
  unsigned leftOut = 0;
  for (const Record &record : file.records) {
    if (!record.damage.empty()) {
      ++leftOut;
      continue;
    }
    sound.push_back(record);
    sound.back().leftOut = std::exchange(leftOut, 0);
  }
  return sound;
}

std::vector<std::uint8_t> dataFileOf(std::span<const Record> records, Bytes original) {
  const auto count = static_cast<std::uint32_t>(records.size());
  std::vector<std::uint8_t> bytes;
  for (const std::uint32_t value : {0U, (count + kCapacity - 1) % kCapacity, kRecordSize, kCapacity, count}) {
    for (unsigned shift = 0; shift < 32; shift += 8) {
      bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
  }
  for (const Record &record : records) {
    const Bytes slot = original.subspan(record.offset(), kRecordSize);
    bytes.insert(bytes.end(), slot.begin(), slot.end());
  }
  bytes.resize(kFileSize);
  return bytes;
}

std::optional<std::int64_t> wallClock(const Record &record) {
  namespace chrono = std::chrono;
  const chrono::year_month_day date{chrono::year(static_cast<int>(record.year)), chrono::month(record.month),
                                    chrono::day(record.day)};
  if (!date.ok() || record.year > 9999 || record.month > 12 || record.day > 31 || record.hour > 23) {
    return std::nullopt;
  }
  return chrono::sys_seconds(chrono::sys_days(date)).time_since_epoch().count() + record.hour * kHour;
}

std::int64_t zoneOf(const Record &record) { return wallClock(record).value_or(0) - record.time / kHour * kHour; }

std::optional<Break> breakBetween(const Record &before, const Record &after) {
  const std::int64_t step = after.time - before.time;
  if (step < 0 || step > kLongestPause) {
    return Break{Break::kClock, before.time, after.time, step};
  }
  // Hours begin when the clock on the wall strikes. It gives the number of hours in every time zone, and UTC gives it
  // across a change to or from summer time: neither counts an hour that had no chance of a record.
  std::int64_t hours = after.time / kHour - before.time / kHour;
  const std::int64_t onTheWall = hours + (zoneOf(after) - zoneOf(before)) / kHour;
  hours = std::llabs(onTheWall - hours) <= 1 ? std::min(onTheWall, hours) : hours;
  const std::int64_t missing = hours - 1 - after.leftOut;
  if (missing > 0) {
    return Break{Break::kGap, before.time, after.time, missing * kHour};
  }
  return after.leftOut > 0 ? std::optional(Break{Break::kLeftOut, before.time, after.time, after.leftOut})
                           : std::nullopt;
}

std::string wordsOf(const Break &found) {
  switch (found.kind) {
    case Break::kGap:
      return duration(found.amount) + " without a record";
    case Break::kLeftOut:
      return counted(found.amount, "damaged record") + " left out";
    default:
      return std::string("the clock was set ") + (found.amount < 0 ? "back" : "forward") + " by " +
             duration(std::llabs(found.amount));
  }
}

}  // namespace vexora::tool::history
