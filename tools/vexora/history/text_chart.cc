// SPDX-License-Identifier: Apache-2.0
//
// The chart in characters: a column for some hours, a row for some units. "*" is the average, "|" the band from minimum
// to maximum, "." along the bottom where there are no records.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string_view>

#include "history/chart.h"

namespace vexora::tool::history {
namespace {

constexpr unsigned kLabelWidth = 7;
constexpr unsigned kShortestLine = 20;
constexpr int kRows = 10;
constexpr unsigned kTickWidth = 13;
constexpr int kColours[] = {36, 33};
constexpr int kGapColour = 31;

struct Marks {
  const char *average;
  const char *band;
};

/// A serial console knows ASCII only.
Marks marksOfTerminal() {
  for (const char *name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char *value = std::getenv(name);
    if (value != nullptr && *value != '\0') {
      const std::string_view locale(value);
      const bool isUtf8 =
          locale.find("UTF-8") != std::string_view::npos || locale.find("utf8") != std::string_view::npos;
      return isUtf8 ? Marks{"•", "│"} : Marks{"*", "|"};
    }
  }
  return {"*", "|"};
}

std::string padded(const std::string &text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

class Grid {
 public:
  Grid(const Chart &chart, const Panel &panel, unsigned columns, int colour)
      : chart_(chart), panel_(panel), cells_(kRows, std::vector<std::string>(columns, " ")) {
    const Marks marks = marksOfTerminal();
    for (const auto &[from, to] : chart.gaps) {
      for (std::size_t column = columnOf(static_cast<double>(from)) + 1; column < columnOf(static_cast<double>(to));
           ++column) {
        cells_.back()[column] = coloured(".", kGapColour);
      }
    }
    for (const auto &run : panel.runs) {
      for (const Point &point : run) {
        const std::size_t column = columnOf(point.time);
        for (std::size_t row = rowOf(point.maximum); row <= rowOf(point.minimum); ++row) {
          cells_[row][column] = coloured(marks.band, colour);
        }
        cells_[rowOf(point.average)][column] = coloured(marks.average, colour);
      }
    }
  }

  [[nodiscard]] std::string text() const {
    std::string all;
    for (std::size_t row = 0; row < cells_.size(); ++row) {
      all += padded(label(row), kLabelWidth) + " |";
      for (const std::string &cell : cells_[row]) {
        all += cell;
      }
      all += "\n";
    }
    return all;
  }

 private:
  [[nodiscard]] std::size_t columnOf(double time) const {
    const std::size_t columns = cells_.front().size();
    const double share = (time - static_cast<double>(chart_.from)) / static_cast<double>(chart_.to - chart_.from);
    return std::min(static_cast<std::size_t>(std::max(share, 0.0) * static_cast<double>(columns)), columns - 1);
  }
  [[nodiscard]] std::size_t rowOf(double value) const {
    return static_cast<std::size_t>(std::lround((panel_.high - value) * (kRows - 1) / (panel_.high - panel_.low)));
  }
  /// The value that stands in a row, where it is a whole step.
  [[nodiscard]] std::string label(std::size_t row) const {
    for (int value = panel_.low; value <= panel_.high; value += panel_.step) {
      if (rowOf(value) == row) {
        return std::to_string(value);
      }
    }
    return "";
  }

  const Chart &chart_;
  const Panel &panel_;
  std::vector<std::vector<std::string>> cells_;
};

/// The time axis: a mark and a label for each tick; on an axis of hours a new day is told with its month.
std::string timeAxis(const Chart &chart, unsigned columns) {
  std::string line(columns, '-');
  std::string labels;
  for (const Tick &tick : chart.ticks) {
    const auto column = static_cast<std::size_t>((tick.time - chart.from) * (columns - 1) / (chart.to - chart.from));
    line[column] = '+';
    const std::string label = tick.date.empty() ? tick.label : tick.date.substr(5) + " " + tick.label;
    if (column >= labels.size() + (labels.empty() ? 0 : 1) && column + label.size() <= columns) {
      labels += padded("", column - labels.size()) + label;
    }
  }
  const std::string margin = padded("", kLabelWidth + 2);
  return padded("", kLabelWidth) + " +" + line + "\n" + margin + labels + "\n";
}

}  // namespace

std::string drawText(std::span<const Record> records, std::int64_t from, std::int64_t to, bool utc, unsigned width) {
  const unsigned columns = std::max(width, kLabelWidth + 3 + kShortestLine) - kLabelWidth - 3;
  const Chart chart = layOut(records, from, to, utc,
                             {std::max(to - from, kHour) / columns + 1, static_cast<int>(columns / kTickWidth), 4});
  const Marks marks = marksOfTerminal();
  std::string text = chart.title + "\n";
  for (std::size_t i = 0; i < chart.panels.size(); ++i) {
    const int colour = kColours[i];
    text += "\nsensor " + std::string(chart.panels[i].sensor) + "   " + coloured(marks.average, colour) +
            " average   " + coloured(marks.band, colour) + " minimum to maximum   " + coloured(".", kGapColour) +
            " no records\n";
    text += Grid(chart, chart.panels[i], columns, colour).text() + timeAxis(chart, columns);
  }
  return text;
}

}  // namespace vexora::tool::history
