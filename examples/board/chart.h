// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "history_story.h"

namespace board {

/// "YYYY-MM-DD hh:mm" in UTC, of seconds since the epoch.
std::string formatTime(std::uint32_t time);

/// Draws one sensor's hours, at most the last 96, as a curve of the average in a band from minimum to
/// maximum. Times are UTC; values stay below 10,000.
void drawChart(const char *title, const std::vector<Hour> &hours, Statistics Hour::*sensor);

}  // namespace board
