// SPDX-License-Identifier: Apache-2.0
#include "history/file.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace vexora::tool::history {
namespace {

using Bytes = std::span<const std::uint8_t>;

struct HeaderField {
  const char *name;
  std::uint32_t Header::*value;
  std::uint32_t least;
  std::uint32_t most;
};

// In the file's order, with 4 bytes each.
constexpr HeaderField kFields[] = {{"head", &Header::head, 0, kCapacity - 1},
                                   {"tail", &Header::tail, 0, kCapacity - 1},
                                   {"record size", &Header::itemSize, kRecordSize, kRecordSize},
                                   {"capacity", &Header::capacity, kCapacity, kCapacity},
                                   {"count", &Header::count, 0, kCapacity}};

void readHeader(Bytes bytes, DataFile &file) {
  std::memcpy(&file.header, bytes.data(), sizeof file.header);
  std::size_t at = 0;
  for (const HeaderField &field : kFields) {
    const std::uint32_t value = file.header.*field.value;
    if (value < field.least || value > field.most) {
      file.refusals.push_back({"header", at,
                               format("%s is %u, %s %u", field.name, value,
                                      field.least == field.most ? "must be" : "can be at most", field.most)});
    }
    at += sizeof value;
  }
}

Record readRecord(Bytes bytes, std::uint32_t slot, bool hasSign) {
  Record record;
  record.slot = slot;
  vexora_history_record raw;
  std::memcpy(&raw, &bytes[record.offset()], sizeof raw);
  const auto figure = [&](std::uint16_t low) { return hasSign ? static_cast<std::int16_t>(low) : int{low}; };
  const auto figures = [&](const vexora_history_statistics &hour) {
    return Figures{figure(hour.average), figure(hour.maximum), figure(hour.minimum)};
  };
  record.sensor7000 = figures(raw.sensor_7000);
  record.sensor3009 = figures(raw.sensor_3009);
  record.hour = raw.hour;
  record.day = raw.day;
  record.month = raw.month;
  record.year = raw.year;
  record.firstTime = raw.time;
  record.time = raw.query_time;
  record.damage = damageOf(record);
  return record;
}

/// Returns the records of a file without a usable header, oldest first. A full ring has no empty slot and may begin in
/// any slot: there the oldest sound record is the first.
std::vector<Record> leftRecords(Bytes bytes, bool hasSign) {
  std::vector<Record> records;
  for (std::uint32_t slot = 0; slot < kCapacity && kHeaderSize + (slot + 1) * kRecordSize <= bytes.size(); ++slot) {
    records.push_back(readRecord(bytes, slot, hasSign));
  }
  if (std::erase_if(records, [](const Record &record) { return record.damage == kEmptySlot; }) == 0) {
    const auto isOlder = [](const Record &a, const Record &b) {
      return std::pair(!a.damage.empty(), a.time) < std::pair(!b.damage.empty(), b.time);
    };
    std::rotate(records.begin(), std::min_element(records.begin(), records.end(), isOlder), records.end());
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
        {"size", bytes.size(), format("the file ends after %zu of %zu bytes", bytes.size(), kFileSize)});
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
  const Header header{0, (count + kCapacity - 1) % kCapacity, kRecordSize, kCapacity, count};
  std::vector<std::uint8_t> bytes(kFileSize);
  std::memcpy(bytes.data(), &header, sizeof header);
  for (std::size_t i = 0; i < count; ++i) {
    std::memcpy(&bytes[kHeaderSize + i * kRecordSize], &original[records[i].offset()], kRecordSize);
  }
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
  if (step < 0 || step > kMaxPause) {
    return Break{Break::kClock, before.time, after.time, step};
  }
  // The recorder's hours are hours of local time. Local time counts them right in all zones, also those with half
  // hours; UTC counts them right when summer time begins or ends. The smaller count has no hour that could not get a
  // record.
  std::int64_t hours = after.time / kHour - before.time / kHour;
  const std::int64_t onTheWall = hours + (zoneOf(after) - zoneOf(before)) / kHour;
  hours = std::llabs(onTheWall - hours) <= 1 ? std::min(onTheWall, hours) : hours;
  const std::int64_t missing = hours - 1 - after.leftOut;
  if (missing <= 0 && after.leftOut == 0) {
    return std::nullopt;
  }
  return missing > 0 ? Break{Break::kGap, before.time, after.time, missing * kHour}
                     : Break{Break::kLeftOut, before.time, after.time, after.leftOut};
}

std::string wordsOf(const Break &found) {
  if (found.kind != Break::kClock) {
    return found.kind == Break::kGap ? duration(found.amount) + " without a record"
                                     : counted(found.amount, "damaged record") + " left out";
  }
  return std::string("the clock was set ") + (found.amount < 0 ? "back by " : "forward by ") +
         duration(std::llabs(found.amount));
}

}  // namespace vexora::tool::history
