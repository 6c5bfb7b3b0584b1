// SPDX-License-Identifier: Apache-2.0
//
// The layout of a chart of one or two histories, for text and for pictures. Positions on the time axis are fractions of
// its width. Where the clock was set the axis is cut: each stretch of time has its own part of it.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "history/selection.h"

namespace vexora::tool::history {

/// The records of one column of a chart.
struct Point {
  double at = 0;  // the mean of their positions
  double average = 0;
  int minimum = 0;
  int maximum = 0;
  unsigned records = 0;
};

/// A panel's sensor and title.
struct Heading {
  Figures Record::*figures;
  std::string text;
};

/// The chart of one sensor.
struct Panel {
  std::string heading;
  std::vector<std::vector<std::vector<Point>>> histories;  // each in runs of points without a break
  int low = 0;                                             // the value axis, in whole steps
  int high = 0;
  int step = 0;
};

struct Tick {
  double at = 0;
  std::string label;
  std::string date;  // second line: the first tick of a day on an axis of hours
};

/// An entry of the legend.
struct Mark {
  enum Kind { kAverage, kBand, kGap, kLeftOut, kStep } kind;
  std::size_t history;
  std::string meaning;
};

struct Stripe {
  Mark::Kind kind;
  double from;
  double to;
  std::int64_t seconds;
};

struct Chart {
  std::string name;
  std::string range;
  std::vector<Panel> panels;
  std::vector<Stripe> stripes;
  std::vector<Tick> ticks;
  std::vector<Mark> legend;
};

struct ChartSize {
  std::int64_t points;  // maximum
  bool wholeDays;       // a point is an hour, or a day when there are too many hours
  int timeTicks;        // maximum
  int valueSteps;
};

/// Returns the headings of all sensors or of the one named. A label is "0x7000=Input power:W". Throws Failure(kUsage).
std::vector<Heading> headingsOf(const std::vector<std::string> &labels, const std::string &only);

/// Takes one or two histories, each with at least one record. Throws Failure(kFinding).
Chart layOut(std::span<const Selection> histories, std::span<const Heading> headings, const ChartSize &size);

/// Draws the chart in characters, with colours if standard output is a terminal.
std::string drawText(std::span<const Selection> histories, std::span<const Heading> headings, unsigned width);

}  // namespace vexora::tool::history
