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
#include "history/time.h"

namespace vexora::tool::history {

inline constexpr const char *kDataFile = "/extlog/syslog/history_data.dat";
inline constexpr std::uint32_t kCapacity = 365 * 24;
inline constexpr std::uint32_t kRecordSize = 28;
inline constexpr std::size_t kHeaderSize = 20;
inline constexpr std::size_t kFileSize = kHeaderSize + std::size_t{kCapacity} * kRecordSize;

// No board is off for a year and then goes on with its old history: a longer step is the clock's.
inline constexpr std::int64_t kLongestPause = 366 * kDay;

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
  std::string damage;     // "" of a sound one; the others' figures and times mean nothing
  unsigned leftOut = 0;   // damaged records between this one and the sound one before it
  // Of one in a selection:
  bool isAfterBreak = true;
  unsigned stretch = 0;  // steps of the clock before it

  [[nodiscard]] std::size_t offset() const { return kHeaderSize + std::size_t{slot} * kRecordSize; }
};

inline constexpr const char *kEmptySlot = "an empty slot counted as a record";

struct Sensor {
  const char *name;
  Figures Record::*figures;
};
inline constexpr Sensor kSensors[] = {{"0x7000", &Record::sensor7000}, {"0x3009", &Record::sensor3009}};

/// Something wrong with the file, and where.
struct Damage {
  const char *kind;
  std::size_t offset;
  std::string text;
  std::optional<Record> record = {};  // unless it is the header's or the whole file's
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
  std::vector<Record> records;   // oldest first, damaged ones too; none when the file is refused, unless salvaged
};

struct Reading {
  bool hasSign = false;  // figures are two's complement
  bool salvage = false;  // of a refused file, too, all whole records that are left
};

DataFile parseDataFile(std::span<const std::uint8_t> bytes, const Reading &reading = {});

/// The sound records, each with the number of those left out before it.
std::vector<Record> soundRecords(const DataFile &file);

/// What is wrong with a record by itself; "" when nothing is.
std::string damageOf(const Record &record);

/// The local date and hour that a record carries, counted in seconds as if it were UTC; nothing when it is no date.
std::optional<std::int64_t> wallClock(const Record &record);

/// How far that is from UTC, in whole hours: the minutes are not recorded.
std::int64_t zoneOf(const Record &record);

/// What lies between two sound records that don't follow each other from hour to hour.
struct Break {
  enum Kind { kGap, kLeftOut, kClock } kind = kGap;
  std::int64_t from = 0;
  std::int64_t to = 0;
  std::int64_t amount = 0;  // seconds without a record, records left out, or seconds that the clock was set by
  // In a selection:
  std::size_t record = 0;  // the one after it
  unsigned stretch = 0;    // steps of the clock before that
};

std::optional<Break> breakBetween(const Record &before, const Record &after);

/// "5 hours without a record", "the clock was set back by 2 hours".
std::string wordsOf(const Break &found);

/// Everything that is wrong with a file, in the order of the records. Touches nothing.
std::vector<Damage> verify(const DataFile &file, std::int64_t now);

/// A data file of some records of another one.
std::vector<std::uint8_t> dataFileOf(std::span<const Record> records, std::span<const std::uint8_t> original);

}  // namespace vexora::tool::history
