// SPDX-License-Identifier: Apache-2.0
#include "history/selection.h"

#include <unistd.h>

#include <array>
#include <ctime>

namespace vexora::tool::history {
namespace {

std::string nameOf(const Session &session, const std::string &file) {
  for (const std::string &name : {file, session.name, session.root}) {
    if (!name.empty()) {
      return name;
    }
  }
  std::array<char, 256> host{};
  gethostname(host.data(), host.size() - 1);
  return host.data();
}

/// Finds the breaks between records. An hour or more between an end of the range and its nearest record is a gap too.
void findBreaks(Selection &selection) {
  std::vector<Record> &records = selection.records;
  unsigned stretch = 0;
  const auto addEnd = [&](std::int64_t from, std::int64_t to, std::size_t place) {
    if (to - from >= kHour) {
      selection.breaks.push_back({Break::kGap, from, to, (to - from) / kHour * kHour, place, stretch});
    }
  };
  if (selection.from && (selection.to || !records.empty())) {
    addEnd(*selection.from, records.empty() ? *selection.to : records.front().time, 0);
  }
  for (std::size_t i = 1; i < records.size(); ++i) {
    std::optional<Break> found = breakBetween(records[i - 1], records[i]);
    stretch += found && found->kind == Break::kClock ? 1U : 0U;
    records[i].isAfterBreak = found.has_value();
    records[i].stretch = stretch;
    if (found) {
      found->record = i;
      found->stretch = stretch;
      selection.breaks.push_back(*found);
    }
  }
  if (selection.to && !records.empty()) {
    addEnd(records.back().time, *selection.to - 1, records.size());
  }
}

}  // namespace

std::string pathOf(const Session &session, const std::string &file) {
  return file.empty() ? session.path(kDataFile) : file;
}

Clock clockOf(const std::vector<Record> &sound, const Range &range) {
  Clock clock{range.utc ? Clock::kUtc : range.local ? Clock::kLocal : Clock::kBoard};
  for (const Record &record : sound) {
    clock.zones[record.time] = zoneOf(record);
  }
  return clock;
}

Selection select(const Session &session, const Range &range, const std::string &name) {
  const std::string path = pathOf(session, name);
  const DataFile file = parseDataFile(readFile(path), range.reading);
  if (!file.refusals.empty() && !range.reading.salvage) {
    throw Failure(kFinding, printable(path) + ": " + file.refusals.front().text +
                                " (--salvage reads what is left; see: vexora history verify)");
  }
  Selection selection;
  selection.path = path;
  selection.name = nameOf(session, name);
  selection.records = soundRecords(file);
  selection.leftOut = file.refusals;
  selection.clock = clockOf(selection.records, range);
  const std::int64_t newest = selection.records.empty() ? std::time(nullptr) : selection.records.back().time;
  for (const auto &[text, end] : {std::pair(&range.from, &selection.from), std::pair(&range.to, &selection.to)}) {
    if (!text->empty()) {
      *end = parseMoment(*text, selection.clock, newest);
    }
  }
  if (selection.from && selection.to && *selection.from >= *selection.to) {
    throw Failure(kUsage, "--from has to be before --to");
  }
  const auto isOutside = [&](std::int64_t time) {
    return (selection.from && time < *selection.from) || (selection.to && time >= *selection.to);
  };
  // A damaged record's time is meaningless: it gets the time of the previous sound one.
  std::optional<std::int64_t> before;
  for (const Record &record : file.records) {
    if (record.damage.empty()) {
      before = record.time;
    } else if (!before || !isOutside(*before)) {
      selection.leftOut.push_back({"record", record.offset(), record.damage, record});
    }
  }
  std::erase_if(selection.records, [&](const Record &record) { return isOutside(record.time); });
  findBreaks(selection);
  return selection;
}

}  // namespace vexora::tool::history
