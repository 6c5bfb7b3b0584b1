// SPDX-License-Identifier: Apache-2.0
//
// What a chart of the history shows, whoever draws it: the terminal or cairo.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "history/file.h"

namespace vexora::tool::history {

/// The records of one column of a chart.
struct Point {
  double time = 0;  // their middle
  double average = 0;
  int minimum = 0;
  int maximum = 0;
  unsigned records = 0;
};

/// One sensor. Points of one run have no gap between them.
struct Panel {
  const char *sensor = nullptr;
  std::vector<std::vector<Point>> runs;
  int low = 0;  // the value axis: whole steps
  int high = 0;
  int step = 0;
};

struct Tick {
  std::int64_t time = 0;
  std::string label;
  std::string date;  // a second line, where a new day begins on an axis of hours
};

struct Chart {
  std::string title;
  std::int64_t from = 0;
  std::int64_t to = 0;
  std::vector<Panel> panels;
  std::vector<std::pair<std::int64_t, std::int64_t>> gaps;  // where there are no records
  std::vector<Tick> ticks;
};

struct ChartSize {
  std::int64_t column;  // seconds that one point stands for
  int timeTicks;        // at most
  int valueSteps;
};

/// Lays out the records between `from` and `to`, in the order of time; there is at least one.
Chart layOut(std::span<const Record> records, std::int64_t from, std::int64_t to, bool utc, const ChartSize &size);

/// The chart in text, with colours where the terminal has them.
std::string drawText(std::span<const Record> records, std::int64_t from, std::int64_t to, bool utc, unsigned width);

}  // namespace vexora::tool::history
