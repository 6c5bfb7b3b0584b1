// SPDX-License-Identifier: Apache-2.0
//
// Sampling. Each reading is added to the statistics of the hour in progress. The first sample of a new hour closes
// them, itself included, into a record of the new hour. So the first record of a process has a single sample, and a
// restart within an hour merges with the record before it.
//
// When a record can't be stored, the data file is removed and the statistics stay: the next sample tries again. The
// file is replaced only by rename, after the new image has reached the medium. A crash or power cut at any point leaves
// the whole old image or the whole new one.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <limits>

#include "base/medium.h"
#include "base/owners.h"
#include "base/report.h"
#include "containers/ring_storage.h"
#include "history/busy_flag.h"
#include "history/data_file.h"
#include "history/sensors.h"
#include "vexora/history.h"

using namespace vexora::history;

namespace {

constexpr int kSensor3009 = 0x3009;
constexpr int kSensor7000 = 0x7000;
constexpr int kNoHourYet = 24;

/// State between samples beside the exported statistics. One thread samples.
struct RecorderState {
  bool started = false;
  bool firstSample3009 = true;
  bool firstSample7000 = true;
};

constinit RecorderState state;

/// Truncates as the target's own conversion does: a number out of range becomes the nearest bound, a NaN 0.
std::int32_t truncateToInt(double value) {
  using Limits = std::numeric_limits<std::int32_t>;
  if (std::isnan(value)) {
    return 0;
  }
  return static_cast<std::int32_t>(std::clamp(value, double{Limits::min()}, double{Limits::max()}));
}

/// Rounds in single precision, up only above one half: 20.5 gives 20, 20.6 gives 21, -3.7 gives -3.
std::int32_t roundReading(double value) {
  const auto single = static_cast<float>(value);
  const std::int32_t whole = truncateToInt(static_cast<double>(single));
  const float fraction = single - static_cast<float>(whole);
  return fraction > 0.5F ? truncateToInt(static_cast<double>(single) + 1.0) : whole;
}

/// Adds a sample. The sum wraps; the maximum starts at 0.
void foldSample(vexora_history_progress &progress, bool &isFirst, std::int32_t sample) {
  progress.sum =
      static_cast<std::int32_t>(static_cast<std::uint32_t>(progress.sum) + static_cast<std::uint32_t>(sample));
  progress.maximum = std::max(progress.maximum, sample);
  progress.minimum = isFirst ? sample : std::min(progress.minimum, sample);
  isFirst = false;
  ++progress.samples;
}

/// Adds a reading of both sensors. Returns false when one can't be read; the first one's sample may already be counted.
bool sampleSensors(const Sensors &sensors) {
  const std::optional<double> reading3009 = sensors.read(kSensor3009);
  if (!reading3009) {
    return false;
  }
  foldSample(RecTmpData.sensor_3009, state.firstSample3009, roundReading(*reading3009));
  const std::optional<double> reading7000 = sensors.read(kSensor7000);
  if (!reading7000) {
    return false;
  }
  foldSample(RecTmpData.sensor_7000, state.firstSample7000, truncateToInt(*reading7000));
  return true;
}

std::uint16_t lowHalf(std::int32_t value) { return static_cast<std::uint16_t>(value); }

/// Returns the record's figures. The division is unsigned, also for a negative sum.
vexora_history_statistics closeStatistics(const vexora_history_progress &progress) {
  const std::uint32_t average = progress.samples == 0 ? 0 : static_cast<std::uint32_t>(progress.sum) / progress.samples;
  return {static_cast<std::uint16_t>(average), lowHalf(progress.maximum), lowHalf(progress.minimum)};
}

vexora_history_record closeHour(std::time_t now, const std::tm &local) {
  const auto seconds = static_cast<std::uint32_t>(now);
  return {.sensor_7000 = closeStatistics(RecTmpData.sensor_7000),
          .sensor_3009 = closeStatistics(RecTmpData.sensor_3009),
          .hour = lowHalf(local.tm_hour),
          .day = lowHalf(local.tm_mday),
          .month = lowHalf(local.tm_mon + 1),
          .year = lowHalf(local.tm_year + 1900),
          .time = seconds,
          .query_time = seconds};
}

void mergeStatistics(vexora_history_statistics &merged, const vexora_history_statistics &older) {
  merged.average = static_cast<std::uint16_t>((older.average + merged.average) / 2);
  merged.maximum = std::max(merged.maximum, older.maximum);
  merged.minimum = std::min(merged.minimum, older.minimum);
}

/// Adds a record to the cache: merges it with the newest one when both belong to the same hour, else appends it.
bool addToRing(vexora_ringlist &ring, const vexora_history_record &record) {
  vexora_history_record newest{};
  if (vexora_ringlist_get_tail(&ring, &newest) != 0) {
    return false;
  }
  if (record.query_time < newest.query_time) {
    REPORT_WARNING(vexora::kHistoryInterface,
                   "New record time is early than last record, will delete history data file");
    return false;
  }
  if (record.query_time - newest.query_time < kHourSeconds && record.hour == newest.hour) {
    vexora_history_record merged = record;
    mergeStatistics(merged.sensor_7000, newest.sensor_7000);
    mergeStatistics(merged.sensor_3009, newest.sensor_3009);
    return vexora_ringlist_modify_item(&ring, &merged, static_cast<int>(ring.count) - 1) == 0;
  }
  if (vexora_ringlist_push(&ring, &record) == -1) {
    REPORT_FAILURE(vexora::kHistoryInterface, "Add History Data To Ring List Fail");
    return false;
  }
  return true;
}

/// Writes the image to the temporary file and syncs it.
bool writeTemporaryFile(const vexora_ringlist &ring) {
  vexora::separate(kTemporaryFile, kDataFile);
  vexora::Stream file(std::fopen(kTemporaryFile, "wbe"));
  if (!file) {
    return false;
  }
  const bool written = writeImage(file.get(), ring) == WriteResult::kWhole && vexora::reachesMedium(fileno(file.get()));
  return std::fclose(file.release()) == 0 && written;
}

bool rewriteDataFile(const vexora_ringlist &ring) {
  if (!writeTemporaryFile(ring) || std::rename(kTemporaryFile, kDataFile) != 0) {
    REPORT_FAILURE(vexora::kHistoryInterface, "WriteHistoryDataToDatFile Fail");
    return false;
  }
  // Makes the rename durable. Without it a power cut may bring back the whole old file, so a directory that can't be
  // synced is no reason to discard the new one.
  static_cast<void>(vexora::reachesMedium(kDirectory));
  return true;
}

/// Stores a record in cache and file. The ring stays locked until the rename is done: a clear in another thread runs
/// before or after, so that the rename can't bring back a cleared file.
bool storeRecord(const vexora_history_record &record) {
  if (HistoryDataRing == nullptr) {
    return false;
  }
  const vexora::LockHold hold(HistoryDataRing->lock, vexora::kRingLockTries);
  return hold && addToRing(*HistoryDataRing, record) && rewriteDataFile(*HistoryDataRing);
}

void startNextHour(int recordedHour) {
  RecTmpData = {};
  RecTmpData.last_record_hour = recordedHour;
  state.firstSample3009 = true;
  state.firstSample7000 = true;
}

enum class Sample { kTaken, kNone, kNoTime };

/// Takes one sample; the sensor library is loaded only meanwhile. `now` and `local` receive the sample's time.
Sample takeSample(std::time_t &now, std::tm &local) {
  const Sensors sensors;
  if (!sensors.isLoaded()) {
    return Sample::kNone;
  }
  now = std::time(nullptr);
  tzset();
  // time() fails past the end of time_t. A record of time -1 would make every later record look early.
  if (now == -1 || localtime_r(&now, &local) == nullptr) {
    return Sample::kNoTime;
  }
  if (!state.started) {
    state.started = true;
    RecTmpData.last_record_hour = kNoHourYet;
  }
  return sampleSensors(sensors) ? Sample::kTaken : Sample::kNone;
}

}  // namespace

int historyDataRecord() {
  if (busyFlag().load() == kBusy) {
    return 0;
  }
  std::time_t now = 0;
  std::tm local{};
  const Sample sample = takeSample(now, local);
  if (sample == Sample::kNoTime) {
    std::printf("Localtime return null func:%s line:%d\n", __func__, __LINE__);
    return -1;
  }
  if (sample == Sample::kNone || local.tm_hour == RecTmpData.last_record_hour) {
    return 0;
  }
  if (!storeRecord(closeHour(now, local))) {
    REPORT_WARNING(vexora::kHistoryInterface, "AddHistoryData fail, will delete history data file");
    static_cast<void>(std::remove(kDataFile));
    return -1;
  }
  startNextHour(local.tm_hour);
  return 0;
}
