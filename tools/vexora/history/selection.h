// SPDX-License-Identifier: Apache-2.0
//
// Selects a history's records in a time range, and finds the gaps: the data of all lists, statistics and charts.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/tool.h"
#include "history/file.h"

namespace vexora::tool::history {

/// The command line's options.
struct Range {
  std::vector<std::string> files{""};  // "" is the board's own
  std::string from;
  std::string to;
  bool utc = false;
  bool local = false;
  Reading reading;
};

struct Selection {
  std::string path;
  std::string name;             // the file's name on the command line, or the board's name
  std::vector<Record> records;  // sound ones, oldest first
  std::vector<Damage> leftOut;  // damage of a salvaged file, then the damaged records
  std::vector<Break> breaks;    // also those at the range's ends
  std::optional<std::int64_t> from;
  std::optional<std::int64_t> to;
  Clock clock;
};

std::string pathOf(const Session &session, const std::string &file);

Clock clockOf(const std::vector<Record> &sound, const Range &range);

/// Reads one file. Throws Failure for an unreadable file, for one that is damaged as a whole unless salvaged, and for a
/// wrong range.
Selection select(const Session &session, const Range &range, const std::string &name);

}  // namespace vexora::tool::history
