// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

namespace board {

using Bytes = std::vector<std::uint8_t>;

struct Statistics {
  std::uint16_t average;
  std::uint16_t maximum;
  std::uint16_t minimum;
};

struct Hour {
  Statistics sensor7000;
  Statistics sensor3009;
  std::uint32_t time;  // seconds since the epoch
};

/// The history as it must be now.
struct History {
  std::vector<Hour> hours;
  bool isCleared = false;  // and nothing was recorded since
};

/// Computes the history from the table of readings and from "/var/demo_story", to which the demo appends an event per
/// line: `start TIME PERIOD` when a daemon begins to sample at TIME every PERIOD seconds, `until TIME` when the clock
/// has reached TIME, `clear` when the history was cleared.
History replayStory();

/// Returns the correct answer to a range command. `from` and `to` must not be the second of a record: there the
/// daemon's first entry depends on how evenly the records are spaced.
Bytes expectedRange(const History &history, std::uint8_t type, std::uint32_t from, std::uint32_t to);

void putLittle(Bytes &bytes, std::uint32_t value, unsigned size);

}  // namespace board
