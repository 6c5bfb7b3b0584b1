// SPDX-License-Identifier: Apache-2.0
//
// The chart in characters. "*" is the average and "|" the band from minimum to maximum; a second history has "o" and
// ":". In the bottom row "." means no records and "x" damaged ones. "/" means that the clock was set.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <string_view>

#include "history/chart.h"

namespace vexora::tool::history {
namespace {

constexpr unsigned kLabelWidth = 7;
constexpr unsigned kMinLine = 20;
constexpr int kRows = 10;
constexpr unsigned kTickWidth = 13;
constexpr int kColours[] = {36, 33};
constexpr int kStripeColour = 31;

using Signs = std::array<const char *, 2>;  // of average and band

/// Only ASCII without a UTF-8 locale, as on a serial console.
Signs signsOf(std::size_t history) {
  constexpr Signs kAscii[] = {{"*", "|"}, {"o", ":"}};
  constexpr Signs kUtf8[] = {{"•", "│"}, {"○", "┊"}};
  for (const char *name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char *value = std::getenv(name);
    if (value != nullptr && *value != '\0') {
      const std::string_view locale(value);
      const bool isUtf8 =
          locale.find("UTF-8") != std::string_view::npos || locale.find("utf8") != std::string_view::npos;
      return isUtf8 ? kUtf8[history] : kAscii[history];
    }
  }
  return kAscii[history];
}

std::string sign(Mark::Kind kind, std::size_t history) {
  constexpr const char *kStripes[] = {".", "x", "/"};
  return kind <= Mark::kBand ? coloured(signsOf(history)[kind], kColours[history])
                             : coloured(kStripes[kind - Mark::kGap], kStripeColour);
}

std::string padded(const std::string &text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

class Grid {
 public:
  Grid(const Chart &chart, const Panel &panel, unsigned columns)
      : panel_(panel), cells_(kRows, std::vector<std::string>(columns, " ")) {
    for (std::size_t history = panel.histories.size(); history-- > 0;) {  // the first history covers the second
      for (const auto &run : panel.histories[history]) {
        for (const Point &point : run) {
          const std::size_t column = columnOf(point.at);
          for (std::size_t row = rowOf(point.maximum); row <= rowOf(point.minimum); ++row) {
            cells_[row][column] = sign(Mark::kBand, history);
          }
          cells_[rowOf(point.average)][column] = sign(Mark::kAverage, history);
        }
      }
    }
    for (const Stripe &stripe : chart.stripes) {
      if (stripe.kind == Mark::kStep) {
        for (auto &row : cells_) {
          row[columnOf((stripe.from + stripe.to) / 2)] = sign(stripe.kind, 0);
        }
        continue;
      }
      // The columns between two records, or a record's own when there is none between.
      const std::size_t begin = std::min(columnOf(stripe.from) + 1, columnOf(stripe.to));
      for (std::size_t column = begin; column < std::max(columnOf(stripe.to), begin + 1); ++column) {
        cells_.back()[column] = cells_.back()[column] == " " ? sign(stripe.kind, 0) : cells_.back()[column];
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
  [[nodiscard]] std::size_t columnOf(double at) const {
    const std::size_t columns = cells_.front().size();
    return std::min(static_cast<std::size_t>(std::max(at, 0.0) * static_cast<double>(columns)), columns - 1);
  }
  [[nodiscard]] std::size_t rowOf(double value) const {
    return static_cast<std::size_t>(std::lround((panel_.high - value) * (kRows - 1) / (panel_.high - panel_.low)));
  }
  /// Returns the row's value if it is a whole step, else "".
  [[nodiscard]] std::string label(std::size_t row) const {
    for (int value = panel_.low; value <= panel_.high; value += panel_.step) {
      if (rowOf(value) == row) {
        return std::to_string(value);
      }
    }
    return "";
  }

  const Panel &panel_;
  std::vector<std::vector<std::string>> cells_;
};

/// Draws the time axis. A tick that has a date shows month and day before its label.
std::string timeAxis(const Chart &chart, unsigned columns) {
  std::string line(columns, '-');
  std::string labels;
  for (const Tick &tick : chart.ticks) {
    const auto column = static_cast<std::size_t>(tick.at * (columns - 1));
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

std::string drawText(std::span<const Selection> histories, std::span<const Heading> headings, unsigned width) {
  const unsigned columns = std::max(width, kLabelWidth + 3 + kMinLine) - kLabelWidth - 3;
  const Chart chart = layOut(histories, headings, {columns, false, static_cast<int>(columns / kTickWidth), 4});
  std::string text = chart.name + "\n" + chart.range + "\n";
  for (const Mark &mark : chart.legend) {
    text += sign(mark.kind, mark.history) + " " + mark.meaning + (&mark == &chart.legend.back() ? "\n" : "   ");
  }
  for (const Panel &panel : chart.panels) {
    text += "\n" + panel.heading + "\n" + Grid(chart, panel, columns).text() + timeAxis(chart, columns);
  }
  return text;
}

}  // namespace vexora::tool::history
