// SPDX-License-Identifier: Apache-2.0
//
// The records of a time range of a history, and what is missing in it: the one answer that lists, statistics and charts
// show.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/tool.h"
#include "history/file.h"

namespace vexora::tool::history {

/// What was asked for, as it was written.
struct Range {
  std::vector<std::string> files{""};  // empty for the board's own
  std::string from;
  std::string to;
  bool utc = false;
  bool local = false;
  Reading reading;
};

struct Selection {
  std::string path;
  std::string name;             // the file as it was named, or the board
  std::vector<Record> records;  // sound ones, oldest first
  std::vector<Damage> leftOut;  // damaged ones
  std::vector<Break> breaks;    // with those at the range's ends
  std::optional<std::int64_t> from;
  std::optional<std::int64_t> to;
  Clock clock;
};

std::string pathOf(const Session &session, const std::string &file);

Clock clockOf(const std::vector<Record> &sound, const Range &range);

/// Of one of the files. Throws Failure: a file that can't be read, one that is damaged as a whole unless salvaged, a
/// wrong range.
Selection select(const Session &session, const Range &range, const std::string &name);

}  // namespace vexora::tool::history
