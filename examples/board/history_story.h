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

/// One hourly record.
struct Hour {
  Statistics sensor7000;
  Statistics sensor3009;
  std::uint32_t time;  // seconds since the epoch
};

/// What the history must hold by now.
struct History {
  std::vector<Hour> hours;
  bool isCleared = false;  // with no record since
};

/// Works the history out from the table of readings and from what the demo has done so far.
///
/// "/var/demo_story" tells the latter, one event a line: `start TIME PERIOD` for a daemon that samples
/// from TIME on every PERIOD seconds, `until TIME` for the moment it has reached, `clear` for a clear.
History replayStory();

/// The answer that a range command must get. Ranges begin and end between records or outside them
/// all: at a record's own second the first entry depends on how even the records' spacing is.
Bytes expectedRange(const History &history, std::uint8_t type, std::uint32_t from, std::uint32_t to);

/// Appends a number of `size` bytes, the lowest byte first.
void putLittle(Bytes &bytes, std::uint32_t value, unsigned size);

}  // namespace board
