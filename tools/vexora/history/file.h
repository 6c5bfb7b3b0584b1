// SPDX-License-Identifier: Apache-2.0
//
// The history data file, read byte by byte: what the library would refuse or replace is looked at here, and left as it
// is. docs/history-data-file.md has the layout.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/tool.h"

namespace vexora::tool::history {

inline constexpr const char *kDataFile = "/extlog/syslog/history_data.dat";
inline constexpr std::uint32_t kCapacity = 365 * 24;
inline constexpr std::uint32_t kRecordSize = 28;
inline constexpr std::size_t kHeaderSize = 20;
inline constexpr std::size_t kFileSize = kHeaderSize + std::size_t{kCapacity} * kRecordSize;
inline constexpr std::int64_t kHour = 3600;
inline constexpr std::int64_t kDay = 24 * kHour;

/// One sensor over an hour. The file keeps the low 16 bits; whoever reads them says whether they have a sign.
struct Figures {
  int average = 0;
  int maximum = 0;
  int minimum = 0;
};

struct Record {
  std::uint32_t age = 0;  // 0 is the oldest
  std::uint32_t slot = 0;
  Figures sensor7000;
  Figures sensor3009;
  unsigned hour = 0;  // the board's local time
  unsigned day = 0;
  unsigned month = 0;
  unsigned year = 0;
  std::int64_t firstTime = 0;
  std::int64_t time = 0;  // the copy that recording and queries compare

  [[nodiscard]] std::size_t offset() const { return kHeaderSize + std::size_t{slot} * kRecordSize; }
};

struct Sensor {
  const char *name;
  Figures Record::*figures;
};
inline constexpr Sensor kSensors[] = {{"0x7000", &Record::sensor7000}, {"0x3009", &Record::sensor3009}};

/// Something wrong with the file, and where.
struct Damage {
  const char *kind;
  std::size_t offset;
  std::optional<Record> record;  // unless it is the header's or the whole file's
  std::string text;
};

struct Header {
  std::uint32_t head = 0;
  std::uint32_t tail = 0;
  std::uint32_t itemSize = 0;
  std::uint32_t capacity = 0;
  std::uint32_t count = 0;
};

struct DataFile {
  std::size_t size = 0;
  Header header;                 // as far as there is one
  std::vector<Damage> refusals;  // why the recorder would replace the file
  std::vector<Record> records;   // oldest first; none when the file is refused
};

enum class Sign { kNone, kTwosComplement };

DataFile parseDataFile(std::span<const std::uint8_t> bytes, Sign sign);

/// The local date and hour that a record carries, counted in seconds as if it were UTC; nothing when it is no date.
std::optional<std::int64_t> wallClock(const Record &record);

/// Hours that have no record of their own between two records; 0 also when the second is not the later one.
std::int64_t hoursMissing(const Record &earlier, const Record &later);

/// Everything that is wrong with a file, in the order of the records. Touches nothing.
std::vector<Damage> verify(const DataFile &file, std::int64_t now);

}  // namespace vexora::tool::history
