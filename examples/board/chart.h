// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "history_story.h"

namespace board {

/// Formats seconds since the epoch as "YYYY-MM-DD hh:mm" in UTC.
std::string formatTime(std::uint32_t time);

/// Draws the last 96 hours of a sensor: a curve of the average in a band from minimum to maximum. Values are below
/// 10,000.
void drawChart(const char *title, const std::vector<Hour> &hours, Statistics Hour::*sensor);

}  // namespace board
