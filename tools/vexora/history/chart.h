// SPDX-License-Identifier: Apache-2.0
//
// What a chart of one or two histories shows, whoever draws it: characters or cairo. Places along the time axis are
// shares of its width. Where the clock was set the axis is broken: each stretch of time has its own part of it.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "history/selection.h"

namespace vexora::tool::history {

/// The records of one column of a chart.
struct Point {
  double at = 0;  // their middle
  double average = 0;
  int minimum = 0;
  int maximum = 0;
  unsigned records = 0;
};

/// What a panel shows, and how it is called.
struct Heading {
  Figures Record::*figures;
  std::string text;
};

/// One sensor.
struct Panel {
  std::string heading;
  std::vector<std::vector<std::vector<Point>>> histories;  // each in runs of points without a gap between them
  int low = 0;                                             // the value axis: whole steps
  int high = 0;
  int step = 0;
};

struct Tick {
  double at = 0;
  std::string label;
  std::string date;  // a second line, where a new day begins on an axis of hours
};

/// What drawings are made of, as far as the chart has it.
struct Mark {
  enum Kind { kAverage, kBand, kGap, kLeftOut, kStep } kind;
  std::size_t history;
  std::string meaning;
};

/// A gap, damaged records, or a place where the clock was set.
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
  std::int64_t points;  // side by side, at most
  bool wholeDays;       // whether a point stands for a day when hours are too many
  int timeTicks;        // at most
  int valueSteps;
};

/// The sensors' panels, all or the one named; a label is "0x7000=Input power:W". Throws Failure(kUsage).
std::vector<Heading> headingsOf(const std::vector<std::string> &labels, const std::string &only);

/// One history or two, each with at least one record. Throws Failure(kFinding).
Chart layOut(std::span<const Selection> histories, std::span<const Heading> headings, const ChartSize &size);

/// The chart in text, with colours where the terminal has them.
std::string drawText(std::span<const Selection> histories, std::span<const Heading> headings, unsigned width);

}  // namespace vexora::tool::history
