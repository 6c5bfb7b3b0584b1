// SPDX-License-Identifier: Apache-2.0
#include "history/chart.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "history/time.h"

namespace vexora::tool::history {
namespace {

// Usual steps of a time axis.
struct TickStep {
  int hours;
  int days;
  int months;
};
constexpr TickStep kTickSteps[] = {{1, 0, 0}, {2, 0, 0},  {3, 0, 0},  {6, 0, 0},  {12, 0, 0}, {0, 1, 0},
                                   {0, 2, 0}, {0, 7, 0},  {0, 14, 0}, {0, 0, 1},  {0, 0, 2},  {0, 0, 3},
                                   {0, 0, 6}, {0, 0, 12}, {0, 0, 60}, {0, 0, 120}};
constexpr std::int64_t kMinMonth = 28 * kDay;
constexpr double kStepWidth = 0.015;
constexpr std::size_t kNameLength = 60;

/// Keeps the end of a long path, which is its most specific part.
std::string shortened(const std::string &name) {
  return printable(name.size() <= kNameLength ? name : "..." + name.substr(name.size() - kNameLength));
}

/// A part of the time axis. A new one begins where the clock was set.
struct Stretch {
  std::int64_t from = 0;
  std::int64_t to = 0;
  double left = 0;
  double right = 1;

  [[nodiscard]] double at(std::int64_t time) const {
    return left + (right - left) * static_cast<double>(time - from) / static_cast<double>(to - from);
  }
};

/// Throws Failure(kFinding) when the clock was set in one of several histories: they could not share the axis.
std::vector<Stretch> stretchesOf(std::span<const Selection> histories) {
  std::vector<Stretch> stretches;
  for (const Selection &history : histories) {
    const std::int64_t from = history.from.value_or(history.records.front().time);
    const std::int64_t to = history.to.value_or(history.records.back().time);
    if (stretches.empty()) {
      stretches.push_back({from, to});
    }
    stretches.front().from = std::min(stretches.front().from, from);
    stretches.back().to = std::max(stretches.back().to, to);
    for (const Break &found : history.breaks) {
      if (found.kind == Break::kClock && histories.size() > 1) {
        throw Failure(kFinding, printable(history.name) + ": " + wordsOf(found) +
                                    ", which a chart of two histories can't show: choose a range before or after it");
      }
      if (found.kind == Break::kClock) {
        stretches.back().to = found.from;
        stretches.push_back({found.to, to});
      }
    }
  }
  return stretches;
}

/// Divides the width among the stretches, with a visible minimum for each. Returns their total time.
std::int64_t share(std::vector<Stretch> &stretches) {
  std::int64_t span = 0;
  for (Stretch &stretch : stretches) {
    const std::int64_t margin = stretch.to - stretch.from < kHour ? kHour / 2 : 0;
    stretch.from -= margin;
    stretch.to += margin;
    span += stretch.to - stretch.from;
  }
  const auto number = static_cast<double>(stretches.size());
  const double step = std::min(kStepWidth, 0.5 / number);
  double left = 0;
  for (Stretch &stretch : stretches) {
    const double weight = static_cast<double>(stretch.to - stretch.from) / static_cast<double>(span);
    stretch.left = left;
    stretch.right = left + (1 - step * (number - 1)) * (0.2 / number + 0.8 * weight);
    left = stretch.right + step;
  }
  stretches.back().right = 1;
  return span;
}

/// Adds a history's figures to a panel: a run of points between two breaks, a point per column that has records.
void condense(const Selection &history, Figures Record::*sensor, std::span<const Stretch> stretches,
              std::int64_t origin, std::int64_t length, Panel &panel) {
  auto &runs = panel.histories.emplace_back();
  std::int64_t column = -1;
  for (const Record &record : history.records) {
    const Figures &figures = record.*sensor;
    if (record.isAfterBreak) {
      runs.emplace_back();
      column = -1;
    }
    const std::int64_t here = (record.time - origin) / length;
    if (here != column) {
      runs.back().push_back({.minimum = figures.minimum, .maximum = figures.maximum});
      column = here;
    }
    Point &point = runs.back().back();
    ++point.records;
    point.at += (stretches[record.stretch].at(record.time) - point.at) / point.records;
    point.average += (figures.average - point.average) / point.records;
    // Figures below zero may be read without their sign: then the average isn't between minimum and maximum.
    point.minimum = std::min({point.minimum, figures.minimum, figures.average});
    point.maximum = std::max({point.maximum, figures.maximum, figures.average});
    panel.low = std::min(panel.low, point.minimum);
    panel.high = std::max(panel.high, point.maximum);
  }
}

/// Returns the smallest of 1, 2 or 5 times a power of ten that covers the span in at most `most` steps.
int niceStep(int span, int most) {
  for (int power = 1;; power *= 10) {
    for (const int digit : {1, 2, 5}) {
      if (span <= digit * power * most) {
        return digit * power;
      }
    }
  }
}

/// Sets the value axis to whole steps with a margin above and below. The margin alone never makes it begin below zero.
void setValueAxis(Panel &panel, int steps) {
  const int air = std::max((panel.high - panel.low) / 20, 1);
  const int low = panel.low >= 0 ? std::max(panel.low - air, 0) : panel.low - air;
  const int high = panel.high + air;
  panel.step = niceStep(high - low, steps - 1);
  panel.low = static_cast<int>(std::floor(static_cast<double>(low) / panel.step)) * panel.step;
  panel.high = static_cast<int>(std::ceil(static_cast<double>(high) / panel.step)) * panel.step;
}

void addStripe(const Stripe &stripe, Chart &chart) {
  constexpr const char *kMeanings[] = {"", "", "no records", "damaged records", "the clock was set"};
  if (std::none_of(chart.stripes.begin(), chart.stripes.end(),
                   [&](const Stripe &s) { return s.kind == stripe.kind; })) {
    chart.legend.push_back({stripe.kind, 0, kMeanings[stripe.kind]});
  }
  chart.stripes.push_back(stripe);
}

void addTicks(const Stretch &stretch, const Clock &clock, int most, std::vector<Tick> &ticks) {
  const TickStep step = *std::find_if(std::begin(kTickSteps), std::end(kTickSteps) - 1, [&](const TickStep &one) {
    const std::int64_t seconds = one.hours * kHour + one.days * kDay + one.months * kMinMonth;
    return stretch.to - stretch.from <= seconds * std::max(most, 1);
  });
  std::tm at = breakDown(stretch.from, clock);
  at.tm_min = at.tm_sec = 0;
  at.tm_hour = step.hours > 0 ? at.tm_hour - at.tm_hour % step.hours : 0;
  at.tm_mday = step.months > 0 ? 1 : at.tm_mday;
  std::string day;
  const std::size_t before = ticks.size();
  for (std::int64_t time = moment(at, clock); time <= stretch.to; time = moment(at, clock)) {
    if (time >= stretch.from) {
      const std::string text = stamp(time, clock);
      const std::string date = text.substr(0, 10);
      ticks.push_back(
          {stretch.at(time), step.hours > 0 ? text.substr(11, 5) : date, step.hours > 0 && date != day ? date : ""});
      day = date;
    }
    at.tm_hour += step.hours;
    at.tm_mday += step.days;
    at.tm_mon += step.months;
  }
  if (ticks.size() == before) {
    ticks.push_back({stretch.left, stamp(stretch.from, clock).substr(0, 10), ""});
  }
}

}  // namespace

std::vector<Heading> headingsOf(const std::vector<std::string> &labels, const std::string &only) {
  std::vector<Heading> headings;
  std::size_t used = 0;
  for (const Sensor &sensor : kSensors) {
    std::string text = std::string("Sensor ") + sensor.name;
    for (const std::string &label : labels) {
      if (label.starts_with(std::string(sensor.name) + "=")) {
        text += ": " + printable(label.substr(label.find('=') + 1));
        const std::size_t unit = text.rfind(':');
        text.replace(unit, 1, text.find(':') == unit ? ":" : ", ");
        ++used;
      }
    }
    if (only.empty() || only == sensor.name) {
      headings.push_back({sensor.figures, text});
    }
  }
  if (used < labels.size()) {
    throw Failure(kUsage, "--label takes a sensor, 0x7000 or 0x3009, and its name: 0x7000=\"Input power:W\"");
  }
  return headings;
}

Chart layOut(std::span<const Selection> histories, std::span<const Heading> headings, const ChartSize &size) {
  Chart chart;
  const Selection &first = histories.front();
  std::vector<Stretch> stretches = stretchesOf(histories);
  chart.range = stamp(stretches.front().from, first.clock).substr(0, 16) + " to " +
                stamp(stretches.back().to, first.clock).substr(0, 16) + ", " + first.clock.name();
  const std::int64_t span = share(stretches);
  const bool isDaily = size.wholeDays && span > size.points * kHour;
  const std::int64_t column = isDaily ? kDay : size.wholeDays ? 1 : span / size.points + 1;
  for (const Stretch &stretch : stretches) {
    addTicks(stretch, first.clock, static_cast<int>(size.timeTicks * (stretch.right - stretch.left)), chart.ticks);
  }
  // Columns of a day begin at midnight, by the clock's distance from UTC in January 1970.
  const std::int64_t origin = -breakDown(0, first.clock).tm_hour * kHour;
  for (const Heading &heading : headings) {
    Panel panel{heading.text, {}, INT32_MAX, INT32_MIN, 0};
    for (const Selection &history : histories) {
      condense(history, heading.figures, stretches, origin, column, panel);
    }
    setValueAxis(panel, size.valueSteps);
    chart.panels.push_back(std::move(panel));
  }
  const char *average = isDaily ? "daily average" : size.wholeDays ? "hourly average" : "average";
  for (std::size_t i = 0; i < histories.size(); ++i) {
    const std::string name = shortened(histories[i].name);
    chart.name += (i == 0 ? "" : " and ") + name;
    chart.range += ", " + counted(histories[i].records.size(), "record");
    chart.legend.push_back({Mark::kAverage, i, histories.size() == 1 ? average : name});
  }
  chart.legend.push_back({Mark::kBand, 0, "minimum to maximum"});
  for (const Break &found : first.breaks) {
    const Stretch &stretch = stretches[found.stretch];
    if (found.kind == Break::kClock) {
      addStripe({Mark::kStep, stretches[found.stretch - 1].right, stretch.left, found.amount}, chart);
    } else if (histories.size() == 1) {
      addStripe({found.kind == Break::kGap ? Mark::kGap : Mark::kLeftOut, stretch.at(found.from), stretch.at(found.to),
                 found.amount},
                chart);
    }
  }
  return chart;
}

}  // namespace vexora::tool::history
