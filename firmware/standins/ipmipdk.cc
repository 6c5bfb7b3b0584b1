// SPDX-License-Identifier: Apache-2.0
// Sensors of the host: a table of readings over time in a text file. Every call reads it again, so that a demo or a
// test can change readings while a daemon runs. A malformed line fails every reading, so that a mistake is noticed
// early.

#include "firmware/ipmipdk.h"

#include <time.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "no_exceptions.h"

namespace {

constexpr const char *kReadingsFile = "/var/ipmipdk_readings";
constexpr std::string_view kBlanks = " \t\r";
constexpr int kHexadecimal = 16;

struct Reading {
  unsigned int sensor = 0;
  double value = 0;
  int64_t since = 0;
};

std::string_view takeField(std::string_view &line) {
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  const std::string_view field = line.substr(0, line.find_first_of(kBlanks));
  line.remove_prefix(field.size());
  return field;
}

// Accepts a field that is a number as a whole; integers take a `base`.
template <typename Number, typename... Base>
bool parse(std::string_view field, Number &number, Base... base) {
  const char *const end = field.data() + field.size();
  const auto [stop, error] = std::from_chars(field.data(), end, number, base...);
  return error == std::errc{} && stop == end;
}

std::optional<Reading> parseLine(std::string_view line) {
  std::string_view sensor = takeField(line);
  const std::string_view value = takeField(line);
  const std::string_view since = takeField(line);
  if (sensor.starts_with("0x") || sensor.starts_with("0X")) {
    sensor.remove_prefix(2);
  }
  Reading reading;
  if (!parse(sensor, reading.sensor, kHexadecimal) || !parse(value, reading.value) || !std::isfinite(reading.value) ||
      (!since.empty() && !parse(since, reading.since)) || !takeField(line).empty()) {
    return std::nullopt;
  }
  return reading;
}

bool isComment(std::string_view line) {
  const std::string_view field = takeField(line);
  return field.empty() || field.starts_with('#');
}

std::optional<double> readSensor(unsigned int sensor) {
  const int64_t now = time(nullptr);
  std::ifstream file(kReadingsFile);
  std::optional<double> value;
  for (std::string line; std::getline(file, line);) {
    if (isComment(line)) {
      continue;
    }
    const std::optional<Reading> reading = parseLine(line);
    if (!reading) {
      return std::nullopt;
    }
    if (reading->sensor == sensor && reading->since <= now) {
      value = reading->value;
    }
  }
  return file.bad() ? std::nullopt : value;
}

}  // namespace

int PDK_GetSensorRealValueFromSharedMem(unsigned int sensor, double *value, int mode) {
  static_cast<void>(mode);
  if (value == nullptr) {
    return -1;
  }
  return vexora::firmware::withoutExceptions(-1, [=] {
    const std::optional<double> reading = readSensor(sensor);
    if (!reading) {
      return -1;
    }
    *value = *reading;
    return 0;
  });
}
