// SPDX-License-Identifier: Apache-2.0
//
// Reads the history data file byte by byte and never changes it, also a file that the library would refuse or replace.
// docs/history-data-file.md has the layout.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/tool.h"
#include "history/file_layout.h"
#include "history/time.h"

namespace vexora::tool::history {

using namespace vexora::history;

// A longer step means that the clock was set: no board is off for a year and then goes on with its history.
inline constexpr std::int64_t kMaxPause = 366 * kDay;

/// One sensor over an hour. The file keeps only the low 16 bits, so their reader must know whether they have a sign.
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
  std::string damage;     // "" for a sound record; figures and times of others are meaningless
  unsigned leftOut = 0;   // number of damaged records between this one and the previous sound one
  // Only in a selection:
  bool isAfterBreak = true;
  unsigned stretch = 0;  // number of times that the clock was set before

  [[nodiscard]] std::size_t offset() const { return kHeaderSize + std::size_t{slot} * kRecordSize; }
};

inline constexpr const char *kEmptySlot = "an empty slot counted as a record";

struct Sensor {
  const char *name;
  Figures Record::*figures;
};
inline constexpr Sensor kSensors[] = {{"0x7000", &Record::sensor7000}, {"0x3009", &Record::sensor3009}};

struct Damage {
  const char *kind;
  std::size_t offset;
  std::string text;
  std::optional<Record> record = {};  // none for damage of the header or the whole file
};

struct DataFile {
  std::size_t size = 0;
  Header header = {};            // zeros when the file is too short
  std::vector<Damage> refusals;  // the reasons for which the recorder would replace the file
  std::vector<Record> records;   // oldest first, damaged ones too; none of a refused file unless salvaged
};

struct Reading {
  bool hasSign = false;  // figures are two's complement
  bool salvage = false;  // reads all whole records of a refused file
};

DataFile parseDataFile(std::span<const std::uint8_t> bytes, const Reading &reading = {});

/// Returns the sound records, with `leftOut` set.
std::vector<Record> soundRecords(const DataFile &file);

/// Returns what is wrong with a record, regardless of others; "" if nothing.
std::string damageOf(const Record &record);

/// Returns a record's local date and hour as seconds, as if it were UTC; nothing when it is no valid date.
std::optional<std::int64_t> wallClock(const Record &record);

/// Returns how far a record's local time is ahead of UTC, in seconds. Whole hours only: the minutes are not recorded.
std::int64_t zoneOf(const Record &record);

/// The reason why two neighbouring sound records are not from consecutive hours.
struct Break {
  enum Kind { kGap, kLeftOut, kClock } kind = kGap;
  std::int64_t from = 0;
  std::int64_t to = 0;
  std::int64_t amount = 0;  // seconds without a record, number of damaged records, or the clock's step in seconds
  // Only in a selection:
  std::size_t record = 0;  // index of the next record
  unsigned stretch = 0;    // that record's stretch
};

std::optional<Break> breakBetween(const Record &before, const Record &after);

/// Returns, for instance, "5 hours without a record" or "the clock was set back by 2 hours".
std::string wordsOf(const Break &found);

/// Returns all damage of a file: the whole file's first, then in the order of the records.
std::vector<Damage> verify(const DataFile &file, std::int64_t now);

/// Returns a data file with some records of another one.
std::vector<std::uint8_t> dataFileOf(std::span<const Record> records, std::span<const std::uint8_t> original);

}  // namespace vexora::tool::history
