// SPDX-License-Identifier: Apache-2.0
//
// The history recorder, with this program's clock and sensors in place of the firmware's. A rewrite is compared with
// writing, syncing and renaming as many bytes, a query with reading the file and copying the answer.

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "table.h"
#include "vexora/history.h"

namespace {

constexpr std::uint32_t kHourSeconds = 3600;
constexpr std::uint32_t kYearRecords = 365 * 24;
constexpr std::uint32_t kFirstRecord = 1'700'000'000 / kHourSeconds * kHourSeconds;

std::time_t clockNow = kFirstRecord;

int readSensor(int sensor, double *value, int) {
  *value = sensor == 0x3009 ? 20.6 : 312.0;
  return 0;
}

}  // namespace

extern "C" {

std::time_t time(std::time_t *out) noexcept {
  if (out != nullptr) {
    *out = clockNow;
  }
  return clockNow;
}

void *dlopen(const char *, int) noexcept { return &clockNow; }

void *dlsym(void *, const char *) noexcept { return reinterpret_cast<void *>(&readSensor); }

int dlclose(void *) noexcept { return 0; }
}

namespace {

using vexora::bench::Aim;
using vexora::bench::Table;

using Bytes = std::vector<std::uint8_t>;

constexpr int kCalls = 1;
constexpr int kSampleCalls = 100;
constexpr const char *kDirectory = "/extlog/syslog";
constexpr const char *kDataFile = "/extlog/syslog/history_data.dat";
constexpr std::size_t kImageSize = 245'300;

/// A full year of hourly records, the oldest in the middle of the slots.
Bytes yearImage() {
  constexpr std::uint32_t kHead = kYearRecords / 2;
  constexpr std::array<std::uint32_t, 5> kHeader = {kHead, kHead - 1, sizeof(vexora_history_record), kYearRecords,
                                                    kYearRecords};
  Bytes image(kImageSize);
  std::memcpy(image.data(), kHeader.data(), sizeof kHeader);
  for (std::uint32_t age = 0; age < kYearRecords; ++age) {
    vexora_history_record record{};
    record.time = record.query_time = kFirstRecord + age * kHourSeconds;
    const std::size_t slot = (kHead + age) % kYearRecords;
    std::memcpy(&image[sizeof kHeader + slot * sizeof record], &record, sizeof record);
  }
  return image;
}

bool writeAndRename(const Bytes &image, const char *temporary, const char *final) {
  std::FILE *const file = std::fopen(temporary, "wb");
  if (file == nullptr) {
    return false;
  }
  const bool written =
      std::fwrite(image.data(), image.size(), 1, file) == 1 && std::fflush(file) == 0 && fsync(fileno(file)) == 0;
  if (std::fclose(file) != 0 || !written || std::rename(temporary, final) != 0) {
    return false;
  }
  const int directory = open(kDirectory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  return fsync(directory) == 0 && close(directory) == 0;
}

/// One call of the recorder an hour: each closes an hour and rewrites the file.
void historyRewrite(Table &table) {
  static_cast<void>(std::remove(kDataFile));
  if (historyDataInit() != 0) {
    table.fail("history-rewrite", "no history; is this the private root?");
    return;
  }
  const Bytes image(kImageSize);
  table.compare(
      "history-rewrite", {.host = 1.1, .board = 1.1}, kCalls,
      [] {
        clockNow += std::time_t{kHourSeconds};
        return historyDataRecord() == 0;
      },
      [&] { return writeAndRename(image, "/extlog/syslog/floor.tmp", "/extlog/syslog/floor.dat"); });
}

/// A call within an hour, against the firmware's calls in it.
void historySample(Table &table) {
  table.compare(
      "history-sample", {.host = 1.5, .board = 1.4}, kSampleCalls, [] { return historyDataRecord() == 0; },
      [] {
        double value = 0;
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        tzset();
        return localtime_r(&now, &local) != nullptr && readSensor(0x3009, &value, 0) == 0 &&
               readSensor(0x7000, &value, 0) == 0;
      });
}

/// Reads the file into a new block, and copies as many bytes as the answer has.
bool readAndCopy(std::uint8_t *out, std::size_t size) {
  const auto block = std::make_unique_for_overwrite<std::uint8_t[]>(kImageSize);
  const int file = open(kDataFile, O_RDONLY | O_CLOEXEC);
  const bool whole = read(file, block.get(), kImageSize) == static_cast<ssize_t>(kImageSize);
  std::memcpy(out, block.get(), size);
  vexora::bench::touchMemory();
  return close(file) == 0 && whole;
}

struct Range {
  const char *name;
  std::uint32_t firstHour;
  std::uint32_t hours;
};
constexpr Range kDay{"day", 300 * 24, 24};
constexpr Range kYear{"year", 0, kYearRecords};

/// Half an hour before the first record: a range that begins exactly at a record's time doesn't include it.
std::uint32_t startOf(const Range &range) { return kFirstRecord + range.firstHour * kHourSeconds - kHourSeconds / 2; }

std::size_t answerSize(std::uint32_t type, const Range &range) {
  return std::size_t{range.hours} * (type == 4 ? 28 : 22);
}

void historyQuery(Table &table, std::uint32_t type, const Range &range, Aim aim) {
  const std::uint32_t start = startOf(range);
  Bytes out(answerSize(type, range));
  table.compare(
      "history-query-" + std::string(range.name) + "-type-" + std::to_string(type), aim, kCalls,
      [&] {
        std::uint32_t count = 0;
        return getHistoryData(out.data(), type, start, start + range.hours * kHourSeconds, &count) > 0 &&
               count == range.hours;
      },
      [&] { return readAndCopy(out.data(), out.size()); });
}

/// The same by the command, whose answer begins at an odd address.
void historyCommand(Table &table, std::uint8_t type, Aim aim) {
  constexpr int kHeader = 5;
  std::array<std::uint8_t, 10> request = {1, type};
  const std::uint32_t start = startOf(kYear);
  const std::uint32_t end = start + kYear.hours * kHourSeconds;
  std::memcpy(&request[2], &start, sizeof start);
  std::memcpy(&request[6], &end, sizeof end);
  Bytes response(kHeader + answerSize(type, kYear));
  table.compare(
      "history-command-year-type-" + std::to_string(type), aim, kCalls,
      [&] {
        return VexoraHistoryRecordDataOper(request.data(), request.size(), response.data()) ==
               static_cast<int>(response.size());
      },
      [&] { return readAndCopy(response.data() + kHeader, response.size() - kHeader); });
}

}  // namespace

int main(int argc, char **argv) {
  Table table(argc, argv);
  historyRewrite(table);
  historySample(table);
  if (!writeAndRename(yearImage(), "/extlog/syslog/year.tmp", kDataFile)) {
    table.fail("history-query", "no data file; is this the private root?");
    return table.status();
  }
  for (const std::uint32_t type : {0U, 1U, 4U}) {
    historyQuery(table, type, kDay, {.host = 1.1, .board = 1.1});
  }
  constexpr Aim kHalfAim{.host = 1.5, .instructions = 427'500};
  historyQuery(table, 0, kYear, kHalfAim);
  historyQuery(table, 1, kYear, kHalfAim);
  historyQuery(table, 4, kYear, {.host = 1.3, .instructions = 180'000});
  historyCommand(table, 0, {.host = 1.5, .instructions = 517'500});
  historyCommand(table, 4, {.host = 1.3, .instructions = 303'750});
  return table.status();
}
