// SPDX-License-Identifier: Apache-2.0
//
// A second implementation of the daemon's history, written from the documented rules: the demo compares the daemon's
// answers with it. The board's local time is UTC.

#include "history_story.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

namespace board {

namespace {

constexpr std::uint32_t kHourSeconds = 3600;
constexpr std::uint32_t kHoursPerDay = 24;
constexpr std::uint32_t kNoHour = kHoursPerDay;

std::uint32_t hourOfDay(std::uint32_t time) { return time / kHourSeconds % kHoursPerDay; }

/// The readings of one sensor, from the lines `SENSOR VALUE SINCE` of the stand-in's table.
class Readings {
 public:
  explicit Readings(const std::string &sensor) {
    std::ifstream table("/var/ipmipdk_readings");
    std::string name;
    double value = 0;
    std::uint32_t since = 0;
    while (table >> name >> value >> since) {
      if (name == sensor) {
        values_[since] = value;
      }
    }
  }

  [[nodiscard]] double at(std::uint32_t time) const { return std::prev(values_.upper_bound(time))->second; }

 private:
  std::map<std::uint32_t, double> values_;
};

Statistics summarize(const std::vector<std::uint32_t> &samples) {
  std::uint32_t sum = 0;
  for (const std::uint32_t sample : samples) {
    sum += sample;
  }
  const auto [minimum, maximum] = std::minmax_element(samples.begin(), samples.end());
  return {static_cast<std::uint16_t>(sum / samples.size()), static_cast<std::uint16_t>(*maximum),
          static_cast<std::uint16_t>(*minimum)};
}

Statistics merge(const Statistics &a, const Statistics &b) {
  return {static_cast<std::uint16_t>((a.average + b.average) / 2), std::max(a.maximum, b.maximum),
          std::min(a.minimum, b.minimum)};
}

class Recorder {
 public:
  History history;

  void restart() {
    samples3009_.clear();
    samples7000_.clear();
    lastHour_ = kNoHour;
  }

  void sample(std::uint32_t time) {
    // 0x3009 rounds a half down, 0x7000 drops the fraction.
    samples3009_.push_back(static_cast<std::uint32_t>(std::ceil(readings3009_.at(time) - 0.5)));
    samples7000_.push_back(static_cast<std::uint32_t>(std::floor(readings7000_.at(time))));
    if (hourOfDay(time) != lastHour_) {
      lastHour_ = hourOfDay(time);
      store({summarize(samples7000_), summarize(samples3009_), time});
      samples3009_.clear();
      samples7000_.clear();
    }
  }

 private:
  void store(Hour hour) {
    auto &hours = history.hours;
    if (!hours.empty() && hour.time / kHourSeconds == hours.back().time / kHourSeconds) {
      hour.sensor7000 = merge(hour.sensor7000, hours.back().sensor7000);
      hour.sensor3009 = merge(hour.sensor3009, hours.back().sensor3009);
      hours.pop_back();
    }
    hours.push_back(hour);
    history.isCleared = false;
  }

  const Readings readings3009_{"0x3009"};
  const Readings readings7000_{"0x7000"};
  std::vector<std::uint32_t> samples3009_;
  std::vector<std::uint32_t> samples7000_;
  std::uint32_t lastHour_ = kNoHour;
};

void putStatistics(Bytes &bytes, const Statistics &statistics) {
  putLittle(bytes, statistics.average, 2);
  putLittle(bytes, statistics.maximum, 2);
  putLittle(bytes, statistics.minimum, 2);
}

void putEntry(Bytes &bytes, const Hour &hour, std::uint8_t type) {
  if (type != 0) {
    putStatistics(bytes, hour.sensor7000);
  }
  if (type != 1) {
    putStatistics(bytes, hour.sensor3009);
  }
  const std::chrono::sys_seconds moment{std::chrono::seconds{hour.time}};
  const std::chrono::year_month_day date{std::chrono::floor<std::chrono::days>(moment)};
  putLittle(bytes, hourOfDay(hour.time), 2);
  putLittle(bytes, static_cast<unsigned>(date.day()), 2);
  putLittle(bytes, static_cast<unsigned>(date.month()), 2);
  putLittle(bytes, static_cast<std::uint32_t>(static_cast<int>(date.year())), 2);
  putLittle(bytes, hour.time, 4);
  putLittle(bytes, hour.time, 4);
}

}  // namespace

void putLittle(Bytes &bytes, std::uint32_t value, unsigned size) {
  for (unsigned i = 0; i < size; ++i) {
    bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }
}

History replayStory() {
  std::ifstream story("/var/demo_story");
  Recorder recorder;
  std::uint32_t next = 0;
  std::uint32_t period = 0;
  for (std::string event; story >> event;) {
    std::uint32_t until = next;
    if (event == "clear") {
      recorder.history = {.hours = {}, .isCleared = true};
      continue;
    }
    story >> until;
    if (event == "start") {
      story >> period;
      recorder.restart();
      next = until;
    }
    for (; next <= until; next += period) {
      recorder.sample(next);
    }
  }
  return recorder.history;
}

Bytes expectedRange(const History &history, std::uint8_t type, std::uint32_t from, std::uint32_t to) {
  constexpr std::uint8_t kInvalidDataField = 0xCC;
  if (history.isCleared) {
    return {kInvalidDataField};  // a clear removes the data file
  }
  Bytes entries;
  std::uint32_t count = 0;
  for (const Hour &hour : history.hours) {
    if (from <= hour.time && hour.time < to) {
      putEntry(entries, hour, type);
      ++count;
    }
  }
  Bytes answer{0};
  putLittle(answer, count, 4);
  answer.insert(answer.end(), entries.begin(), entries.end());
  return answer;
}

}  // namespace board
