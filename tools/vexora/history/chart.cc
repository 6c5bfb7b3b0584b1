// SPDX-License-Identifier: Apache-2.0
#include "history/chart.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "history/time.h"

namespace vexora::tool::history {
namespace {

// Steps of the time axis that people count in.
constexpr int kHourSteps[] = {1, 2, 3, 6, 12};
constexpr int kDaySteps[] = {1, 2, 7, 14};
constexpr int kMonthSteps[] = {1, 2, 3, 6, 12, 60, 120};
constexpr std::int64_t kShortestMonth = 28 * kDay;
// At the ends of a chart a record can be missing for less than this without a gap.
constexpr std::int64_t kMargin = 2 * kHour;

/// Adds the records' figures to runs of points, a point for each column that has records.
std::vector<std::vector<Point>> condense(std::span<const Record> records, Figures Record::*sensor, std::int64_t origin,
                                         std::int64_t length) {
  std::vector<std::vector<Point>> runs;
  std::int64_t column = -1;
  for (std::size_t i = 0; i < records.size(); ++i) {
    const Figures &figures = records[i].*sensor;
    if (i == 0 || hoursMissing(records[i - 1], records[i]) > 0) {
      runs.emplace_back();
      column = -1;
    }
    const std::int64_t here = (records[i].time - origin) / length;
    if (here != column) {
      runs.back().push_back({.minimum = figures.minimum, .maximum = figures.maximum});
      column = here;
    }
    Point &point = runs.back().back();
    ++point.records;
    point.time += (static_cast<double>(records[i].time) - point.time) / point.records;
    point.average += (figures.average - point.average) / point.records;
    // With its average the band stays on the paper whatever a damaged record holds.
    point.minimum = std::min({point.minimum, figures.minimum, figures.average});
    point.maximum = std::max({point.maximum, figures.maximum, figures.average});
  }
  return runs;
}

/// 1, 2 or 5 times a power of ten, so that at most `most` of them make the span.
int niceStep(int span, int most) {
  for (int power = 1;; power *= 10) {
    for (const int digit : {1, 2, 5}) {
      if (span <= digit * power * most) {
        return digit * power;
      }
    }
  }
}

void setValueAxis(Panel &panel, int steps) {
  int low = INT32_MAX;
  int high = INT32_MIN;
  for (const auto &run : panel.runs) {
    for (const Point &point : run) {
      low = std::min(low, point.minimum);
      high = std::max(high, point.maximum);
    }
  }
  panel.step = niceStep(std::max(high - low, 1), steps - 1);
  const auto whole = [&](double value) { return static_cast<int>(value) * panel.step; };
  panel.low = whole(std::floor(static_cast<double>(low) / panel.step));
  panel.high = std::max(whole(std::ceil(static_cast<double>(high) / panel.step)), panel.low + panel.step);
}

void findGaps(std::span<const Record> records, Chart &chart) {
  if (records.front().time - chart.from > kMargin) {
    chart.gaps.emplace_back(chart.from, records.front().time);
  }
  for (std::size_t i = 1; i < records.size(); ++i) {
    if (hoursMissing(records[i - 1], records[i]) > 0) {
      chart.gaps.emplace_back(records[i - 1].time, records[i].time);
    }
  }
  if (chart.to - records.back().time > kMargin) {
    chart.gaps.emplace_back(records.back().time, chart.to);
  }
}

/// How far one tick is from the next, in one of the three units.
struct TickStep {
  int hours = 0;
  int days = 0;
  int months = 0;
};

TickStep tickStep(std::int64_t span, int most) {
  for (const int hours : kHourSteps) {
    if (span <= hours * kHour * most) {
      return {.hours = hours};
    }
  }
  for (const int days : kDaySteps) {
    if (span <= days * kDay * most) {
      return {.days = days};
    }
  }
  for (const int months : kMonthSteps) {
    if (span <= months * kShortestMonth * most) {
      return {.months = months};
    }
  }
  return {.months = *std::rbegin(kMonthSteps)};
}

std::vector<Tick> timeTicks(std::int64_t from, std::int64_t to, bool utc, int most) {
  const TickStep step = tickStep(to - from, most);
  std::tm at = breakDown(from, utc);
  at.tm_min = at.tm_sec = 0;
  at.tm_hour = step.hours > 0 ? at.tm_hour - at.tm_hour % step.hours : 0;
  at.tm_mday = step.months > 0 ? 1 : at.tm_mday;
  std::vector<Tick> ticks;
  std::string day;
  for (std::int64_t time = moment(at, utc); time <= to; time = moment(at, utc)) {
    if (time >= from) {
      const std::string text = stamp(time, utc);
      const std::string date = text.substr(0, 10);
      ticks.push_back(step.hours > 0 ? Tick{time, text.substr(11, 5), date == day ? "" : date} : Tick{time, date, ""});
      day = date;
    }
    at.tm_hour += step.hours;
    at.tm_mday += step.days;
    at.tm_mon += step.months;
  }
  return ticks;
}

}  // namespace

Chart layOut(std::span<const Record> records, std::int64_t from, std::int64_t to, bool utc, const ChartSize &size) {
  Chart chart;
  const std::int64_t margin = to - from < kHour ? kHour / 2 : 0;
  chart.from = from - margin;
  chart.to = to + margin;
  chart.title = stamp(from, utc).substr(0, 16) + " to " + stamp(to, utc).substr(0, 16) +
                (utc ? " UTC" : " local time") + ", " + std::to_string(records.size()) +
                (records.size() == 1 ? " record" : " records");
  std::tm midnight = breakDown(chart.from, utc);
  midnight.tm_hour = midnight.tm_min = midnight.tm_sec = 0;
  const std::int64_t origin = size.column == kDay ? moment(midnight, utc) : chart.from;
  for (const Sensor &sensor : kSensors) {
    Panel panel;
    panel.sensor = sensor.name;
    panel.runs = condense(records, sensor.figures, origin, size.column);
    setValueAxis(panel, size.valueSteps);
    chart.panels.push_back(std::move(panel));
  }
  findGaps(records, chart);
  chart.ticks = timeTicks(chart.from, chart.to, utc, size.timeTicks);
  return chart;
}

}  // namespace vexora::tool::history
