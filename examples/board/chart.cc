// SPDX-License-Identifier: Apache-2.0
//
// A column is an hour. A row has two levels: the upper and the lower half of a character.

#include "chart.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <string>

namespace board {

namespace {

constexpr std::size_t kColumns = 96;  // with the axis at most 100 characters
constexpr int kRows = 14;             // maximum
constexpr std::uint32_t kHourSeconds = 3600;
constexpr std::uint32_t kDaySeconds = 24 * kHourSeconds;
constexpr std::uint32_t kTickSeconds = 6 * kHourSeconds;

/// The value axis.
struct Scale {
  int lowest;
  int perRow;
  int rows;

  [[nodiscard]] int level(int value) const { return (value - lowest) * 2 / perRow; }
};

Scale fitScale(int minimum, int maximum) {
  constexpr int kSteps[] = {2, 5, 10, 20, 50, 100, 200, 500, 1000};
  for (const int step : kSteps) {
    const int lowest = minimum / step * step;
    const int rows = (maximum - lowest) / step + 1;
    if (rows <= kRows) {
      return {lowest, step, rows};
    }
  }
  return {0, maximum / kRows + 1, kRows};
}

const char *cell(const Statistics &hour, const Scale &scale, int row) {
  const int average = scale.level(hour.average);
  if (average / 2 == row) {
    return average % 2 == 0 ? "▄" : "▀";
  }
  return scale.level(hour.minimum) / 2 <= row && row <= scale.level(hour.maximum) / 2 ? "░" : " ";
}

std::string date(std::uint32_t time) { return formatTime(time).substr(0, 10); }
std::string hourOfDay(std::uint32_t time) { return formatTime(time).substr(11, 2); }

/// Puts a label under each time that is a multiple of `every`, if there is space for it.
std::string labels(const std::vector<Hour> &hours, std::uint32_t every, std::string (*name)(std::uint32_t)) {
  std::string line(hours.size(), ' ');
  for (std::size_t i = 0; i < hours.size(); ++i) {
    const std::string label = hours[i].time % every == 0 ? name(hours[i].time) : "";
    if (i + label.size() <= line.size()) {
      line.replace(i, label.size(), label);
    }
  }
  return line;
}

}  // namespace

std::string formatTime(std::uint32_t time) {
  const auto seconds = static_cast<std::time_t>(time);
  std::tm parts{};
  char text[32] = "";
  gmtime_r(&seconds, &parts);
  return {text, std::strftime(text, sizeof text, "%F %H:%M", &parts)};
}

void drawChart(const char *title, const std::vector<Hour> &hours, Statistics Hour::*sensor) {
  if (hours.empty()) {
    return;
  }
  const std::vector<Hour> shown(hours.end() - static_cast<std::ptrdiff_t>(std::min(hours.size(), kColumns)),
                                hours.end());
  int minimum = (shown.front().*sensor).minimum;
  int maximum = 0;
  for (const Hour &hour : shown) {
    minimum = std::min<int>(minimum, (hour.*sensor).minimum);
    maximum = std::max<int>(maximum, (hour.*sensor).maximum);
  }
  const Scale scale = fitScale(minimum, maximum);

  std::printf("\n    %s, %s to %s\n", title, formatTime(shown.front().time).c_str(),
              formatTime(shown.back().time).c_str());
  for (int row = scale.rows - 1; row >= 0; --row) {
    std::printf("%3d┤", scale.lowest + row * scale.perRow);
    for (const Hour &hour : shown) {
      std::fputs(cell(hour.*sensor, scale, row), stdout);
    }
    std::puts("");
  }
  std::fputs("   └", stdout);
  for (const Hour &hour : shown) {
    std::fputs(hour.time % kTickSeconds == 0 ? "┬" : "─", stdout);
  }
  std::printf("\n    %s\n    %s\n", labels(shown, kTickSeconds, hourOfDay).c_str(),
              labels(shown, kDaySeconds, date).c_str());
}

}  // namespace board
