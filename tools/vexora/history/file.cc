// SPDX-License-Identifier: Apache-2.0
#include "history/file.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

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

Record readRecord(Bytes slot, Sign sign) {
  const auto figure = [&](std::size_t at) {
    const std::uint16_t low = load16(slot, at);
    return sign == Sign::kTwosComplement ? static_cast<std::int16_t>(low) : int{low};
  };
  Record record;
  record.sensor7000 = {figure(0), figure(2), figure(4)};
  record.sensor3009 = {figure(6), figure(8), figure(10)};
  record.hour = load16(slot, 12);
  record.day = load16(slot, 14);
  record.month = load16(slot, 16);
  record.year = load16(slot, 18);
  record.firstTime = load32(slot, 20);
  record.time = load32(slot, 24);
  return record;
}

}  // namespace

DataFile parseDataFile(Bytes bytes, Sign sign) {
  DataFile file;
  file.size = bytes.size();
  if (bytes.size() >= kHeaderSize) {
    readHeader(bytes, file);
  }
  if (bytes.size() < kFileSize) {
    file.refusals.push_back(
        {"size",
         bytes.size(),
         {},
         "the file ends after " + std::to_string(bytes.size()) + " of " + std::to_string(kFileSize) + " bytes"});
  }
  if (!file.refusals.empty()) {
    return file;
  }
  for (std::uint32_t age = 0; age < file.header.count; ++age) {
    const std::uint32_t slot = (file.header.head + age) % kCapacity;
    Record record = readRecord(bytes.subspan(kHeaderSize + std::size_t{slot} * kRecordSize, kRecordSize), sign);
    record.age = age;
    record.slot = slot;
    file.records.push_back(record);
  }
  return file;
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

std::int64_t hoursMissing(const Record &earlier, const Record &later) {
  // Hours begin when the clock on the wall strikes. It tells the number of hours in every time zone, and UTC tells it
  // across a change to or from summer time: neither counts an hour that had no chance of a record.
  std::int64_t hours = later.time / kHour - earlier.time / kHour;
  const std::optional<std::int64_t> before = wallClock(earlier);
  const std::optional<std::int64_t> after = wallClock(later);
  if (before && after) {
    const std::int64_t onTheWall = (*after - *before) / kHour;
    hours = std::llabs(onTheWall - hours) <= 1 ? std::min(onTheWall, hours) : hours;
  }
  return std::max<std::int64_t>(hours - 1, 0);
}

}  // namespace vexora::tool::history
