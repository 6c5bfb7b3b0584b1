// SPDX-License-Identifier: Apache-2.0
#include <cmath>

#include "history/board.h"

namespace {
constexpr std::time_t kNoLocalTime = 86400;
}  // namespace

extern "C" std::tm *localtime_r(const std::time_t *moment, std::tm *out) noexcept {
  return *moment == kNoLocalTime ? nullptr : vexora::test::original(&localtime_r, "localtime_r")(moment, out);
}

namespace vexora::test {
namespace {

const FirmwareMessage kEarly = report(132, "New record time is early than last record, will delete history data file");
// The statistics of a sensor and of its hour in progress, in a printable form.
using Figures = std::vector<std::int64_t>;
Figures figures(const vexora_history_statistics &sensor) { return {sensor.average, sensor.maximum, sensor.minimum}; }
Figures progress(const vexora_history_progress &sensor) {
  return {sensor.samples, sensor.sum, sensor.maximum, sensor.minimum};
}

// Makes a recorder that has just written the hour's record, after the records of a file if there is one.
void start(Board &board) {
  ASSERT_EQ(historyDataInit(), 0);
  ASSERT_EQ(board.sample(), 0);
}

BOARD_TEST(History, FirstSampleOfAProcessClosesARecord) {
  setenv("TZ", "XYZ-5:30", 1);
  ASSERT_EQ(historyDataInit(), 0);
  EXPECT_EQ(board.sampleAt(kNoon + 1830, 20.6, 4660), 0);
  const std::string record(
      "\x34\x12\x34\x12\x34\x12\x15\0\x15\0\x15\0\x12\0\x1D\0\x02\0\xE8\x07\xE6\x78\xE0\x65\xE6\x78\xE0\x65", 28);
  const std::string header("\0\0\0\0\0\0\0\0\x1C\0\0\0\x38\x22\0\0\x01\0\0\0", 20);
  const std::string file = read(kDataFile);
  EXPECT_EQ(file.substr(0, 48), header + record);
  EXPECT_TRUE(file.substr(48) == std::string(kImageSize - 48, '\0'));
  EXPECT_TRUE(cacheBytes() == file);
  const vexora_history_hour nextHour{{}, {}, 18};
  EXPECT_EQ(std::memcmp(&RecTmpData, &nextHour, sizeof nextHour), 0);
  setenv("TZ", "XYZ-3", 1);  // as an operator changes it while a daemon runs
  EXPECT_EQ(board.sampleAt(kNoon + kHour, 0, 0), 0);
  EXPECT_EQ(newestRecord().hour, 16);
  EXPECT_EQ(board.log.take(), kNoReports);
}

BOARD_TEST(History, RoundsReadings) {
  start(board);
  constexpr int kMost = std::numeric_limits<int>::max();
  // The reading, then the sums: 0x3009 is rounded in single precision, 0x7000 isn't rounded.
  const std::tuple<double, int, int> rows[] = {{20.5, 20, 20},        {20.6, 21, 20},
                                               {-3.7, -3, -3},        {19.9999999999, 20, 19},
                                               {20.5000005, 20, 20},  {-1e10, -kMost - 1, -kMost - 1},
                                               {1e300, kMost, kMost}, {std::nan(""), 0, 0}};
  for (const auto &[reading, rounded, truncated] : rows) {
    RecTmpData.sensor_3009.sum = RecTmpData.sensor_7000.sum = 0;
    EXPECT_EQ(board.sampleAt(kNoon, reading, reading), 0);
    EXPECT_EQ(std::pair(RecTmpData.sensor_3009.sum, RecTmpData.sensor_7000.sum), std::pair(rounded, truncated))
        << reading;
  }
}

BOARD_TEST(History, ClosesTheHourWithTheFirstSampleOfTheNext) {
  start(board);
  const std::string before = read(kDataFile);
  board.sampleAt(kNoon + 600, 10, -3.7);
  board.sampleAt(kNoon + 1200, 20, -2);
  board.sampleAt(kNoon + 3599, 31, -5);
  EXPECT_EQ(progress(RecTmpData.sensor_3009), (Figures{3, 61, 31, 10}));
  EXPECT_EQ(progress(RecTmpData.sensor_7000), (Figures{3, -10, 0, -5}));
  EXPECT_TRUE(read(kDataFile) == before);
  EXPECT_EQ(board.sampleAt(kNoon + kHour, 40, 0), 0);
  EXPECT_EQ(figures(newestRecord().sensor_3009), (Figures{25, 40, 10}));
  // The low 16 bits of (2^32 - 10) / 4 and of -5; the maximum never falls below 0.
  EXPECT_EQ(figures(newestRecord().sensor_7000), (Figures{0xFFFD, 0, 0xFFFB}));
  EXPECT_EQ(HistoryDataRing->count, 2U);
  // Only the hour of the day counts: a day later it is the same hour. The sum, 2^32 + 69,998, wraps.
  board.sampleAt(kNoon + kHour, 50, 2'147'483'647);
  board.sampleAt(kNoon + 25 * kHour, 50, 2'147'483'647);
  EXPECT_EQ(HistoryDataRing->count, 2U);
  board.sampleAt(kNoon + 26 * kHour, 51, 70'000);
  EXPECT_EQ(figures(newestRecord().sensor_3009), (Figures{50, 51, 50}));
  EXPECT_EQ(figures(newestRecord().sensor_7000), (Figures{23'332, 0xFFFF, 4464}));
}

BOARD_TEST(History, MergesWithARecordOfTheSameHourAfterARestart) {
  constexpr std::time_t kNow = kNoon + 1800;
  constexpr auto kBeyondSigned = static_cast<std::time_t>(0x80000001);
  using Row = std::tuple<std::time_t, std::uint32_t, std::uint16_t, bool>;  // now, the newest record's age and hour
  const Row rows[] = {{kNow, 0, 12, true},
                      {kNow, 3599, 12, true},
                      {kBeyondSigned, 3600, 12, false},
                      {kNow, 600, 11, false},
                      {kNow, 3600, 12, false}};
  for (const auto &[now, age, hour, merged] : rows) {
    SCOPED_TRACE(testing::Message() << now << ", age " << age << ", hour " << hour);
    Image image = hourly(2, kNoon - 48 * kHour);
    Record newest = recordAt(now);
    newest.query_time -= age;
    newest.time = 0xFFFFFFFF;  // never compared
    newest.sensor_3009 = {20, 22, 18};
    newest.sensor_7000 = {0xFFFE, 0x8007, 0xFFFB};
    newest.hour = hour;
    image.push(newest);
    write(kDataFile, image.bytes());
    ASSERT_EQ(historyDataInit(), 0);
    EXPECT_EQ(board.sampleAt(now, 25, 5), 0);
    Record expected = recordAt(now);
    expected.sensor_3009 = {25, 25, 25};
    expected.sensor_7000 = {5, 5, 5};
    if (merged) {
      expected.sensor_3009 = {22, 25, 18};
      expected.sensor_7000 = {0x8001, 0x8007, 5};
      image.slots[2] = expected;
    } else {
      image.push(expected);
    }
    EXPECT_TRUE(read(kDataFile) == image.bytes());
    EXPECT_TRUE(cacheBytes() == image.bytes());
  }
}

BOARD_TEST(History, LoadsTheInstalledSensorLibraryAndSkipsSamplesWhileBusy) {
  sensors.library = "/usr/local/lib/libipmipdk.so";
  std::filesystem::create_symlink(VEXORA_SENSOR_LIBRARY, sensors.library);
  write("/var/ipmipdk_readings", "0x3009 20.6\n0x7000 300.75\n");
  start(board);
  EXPECT_EQ(newestRecord().sensor_3009.average, 21);
  EXPECT_EQ(newestRecord().sensor_7000.average, 300);
  getHistoryDataFlag = 1;
  EXPECT_EQ(board.sampleAt(kNoon + kHour, 5, 5), 0);
  EXPECT_EQ(HistoryDataRing->count, 1U);
  EXPECT_EQ(dlopen(sensors.library, RTLD_NOW | RTLD_NOLOAD), nullptr) << "not kept loaded between samples";
  getHistoryDataFlag = 0;
  EXPECT_EQ(board.sample(), 0);
  EXPECT_EQ(HistoryDataRing->count, 2U);
}

BOARD_TEST(History, LosesOnlyTheSampleThatCannotBeTaken) {
  ASSERT_EQ(historyDataInit(), 0);
  // The library, a broken sensor, the time; then the samples of 0x3009 and the last record's hour, which is 24 once a
  // reading was tried.
  using Row = std::tuple<const char *, int, std::time_t, unsigned, int>;
  const Row rows[] = {{"/none", 0, kNoon, 0, 0},        {"libc.so.6", 0, kNoon, 0, 0},
                      {nullptr, 0, kNoLocalTime, 0, 0}, {nullptr, 0, -1, 0, 0},  // a clock beyond the C library's time
                      {nullptr, 0x3009, kNoon, 0, 24},  {nullptr, 0x7000, kNoon, 1, 24}};
  const std::string before = read(kDataFile);
  for (const auto &[library, broken, now, samples, hour] : rows) {
    SCOPED_TRACE(testing::Message() << library << " at " << now << ", broken " << broken);
    sensors = {.library = library, .broken = broken};
    int result = 1;
    const std::string output = capturedOutput([&, moment = now] { result = board.sampleAt(moment, 5, 5); });
    EXPECT_EQ(result, now == kNoon ? 0 : -1);
    EXPECT_EQ(withoutLine(output), now == kNoon ? "" : "Localtime return null func:historyDataRecord line:LINE\n");
    EXPECT_EQ(std::pair(RecTmpData.sensor_3009.samples, RecTmpData.sensor_7000.samples), std::pair(samples, 0U));
    EXPECT_EQ(RecTmpData.last_record_hour, hour);
    EXPECT_TRUE(read(kDataFile) == before);
  }
  EXPECT_EQ(board.log.take(), kNoReports);
}

BOARD_TEST(History, GivesUpTheFileButNotTheSamplesWhileTheClockIsSetBack) {
  write(kDataFile, hourly(2, kNoon).bytes());  // the newest at 13:00
  ASSERT_EQ(historyDataInit(), 0);
  for (int n = 1; n <= 2; ++n) {
    SCOPED_TRACE(n);
    write(kDataFile, "there");
    EXPECT_EQ(board.sampleAt(kNoon + kHour - 3 + n, 10 * n, n), -1);
    EXPECT_EQ(board.log.take(), (std::vector{kEarly, kGivenUp}));
    EXPECT_FALSE(exists(kDataFile));
    EXPECT_TRUE(cacheBytes() == hourly(2, kNoon).bytes());
    EXPECT_EQ(RecTmpData.sensor_3009.samples, static_cast<std::uint32_t>(n));
    EXPECT_EQ(RecTmpData.last_record_hour, 24);
  }
  EXPECT_EQ(board.sampleAt(kNoon + 2 * kHour, 60, 3), 0);
  EXPECT_EQ(HistoryDataRing->count, 3U);
  EXPECT_EQ(figures(newestRecord().sensor_3009), (Figures{30, 60, 10}));
}

// The two cases in which no cache can take a record.
BOARD_TEST(History, GivesUpWithoutAUsableCache) {
  write(kDataFile, "there");
  EXPECT_EQ(board.sample(), -1);
  EXPECT_FALSE(exists(kDataFile));
  EXPECT_EQ(board.log.take(), std::vector{kGivenUp});
  ASSERT_EQ(historyDataInit(), 0);
  RecTmpData.last_record_hour = 24;
  // In the first hour of the epoch an empty ring's slot looks like a record to merge with.
  EXPECT_EQ(board.sampleAt(100, 1, 1), -1);
  EXPECT_EQ(board.log.take(), std::vector{kGivenUp});
  EXPECT_EQ(HistoryDataRing->count, 0U);
}

}  // namespace
}  // namespace vexora::test
