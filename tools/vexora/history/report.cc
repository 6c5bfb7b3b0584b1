// SPDX-License-Identifier: Apache-2.0
#include "history/report.h"

#include <algorithm>
#include <cmath>

#include "history/time.h"

namespace vexora::tool::history {
namespace {

constexpr int kYellow = 33;

struct Summary {
  Record lowest;   // has the minimum
  Record highest;  // has the maximum
  double average = 0;
};

/// `records` must not be empty.
Summary summarise(std::span<const Record> records, Figures Record::*sensor) {
  Summary summary{*std::ranges::min_element(records, {}, [&](const Record &one) { return (one.*sensor).minimum; }),
                  *std::ranges::max_element(records, {}, [&](const Record &one) { return (one.*sensor).maximum; })};
  for (const Record &record : records) {
    summary.average += (record.*sensor).average / static_cast<double>(records.size());
  }
  return summary;
}

Json figuresJson(const Figures &figures) {
  return object({{"average", figures.average}, {"minimum", figures.minimum}, {"maximum", figures.maximum}});
}

/// A moment in UTC and, if it isn't UTC, in the clock of the texts.
Json momentJson(std::int64_t time, const Clock &clock) {
  constexpr const char *kNames[] = {"utc", "board", "local"};
  return object({{"time", time}, {"utc", isoStamp(time, {})}, {kNames[clock.kind], isoStamp(time, clock)}});
}

Json breaksJson(const Selection &selection) {
  return list(selection.breaks, [&](const Break &found) {
    constexpr const char *kKinds[] = {"gap", "leftOut", "clock"};
    return object({{"kind", kKinds[found.kind]},
                   {"reason", wordsOf(found)},
                   {"from", momentJson(found.from, selection.clock)},
                   {"to", momentJson(found.to, selection.clock)}});
  });
}

/// Returns the number of gaps and their total seconds.
std::pair<unsigned, std::int64_t> gapsOf(const Selection &selection) {
  std::pair<unsigned, std::int64_t> gaps;
  for (const Break &found : selection.breaks) {
    if (found.kind == Break::kGap) {
      ++gaps.first;
      gaps.second += found.amount;
    }
  }
  return gaps;
}

std::string place(const Damage &damage, const Clock &clock) {
  std::string offset = "offset " + std::to_string(damage.offset);
  if (!damage.record) {
    return offset;
  }
  const Record &record = *damage.record;
  return format("record %u, slot %u, ", record.age, record.slot) + offset + ", " + stamp(record.time, clock);
}

}  // namespace

std::string tableOf(const Selection &selection) {
  std::string text = format("%-19s  %23s  %23s\n", "", "sensor 0x7000", "sensor 0x3009");
  text += format("%-19s  %7s %7s %7s  %7s %7s %7s\n", selection.clock.name(), "average", "min", "max", "average", "min",
                 "max");
  std::size_t next = 0;  // index of the next record
  const auto addRecords = [&](std::size_t end) {
    for (; next < end; ++next) {
      text += format("%-19s", stamp(selection.records[next].time, selection.clock).c_str());
      for (const Sensor &sensor : kSensors) {
        const Figures &figures = selection.records[next].*sensor.figures;
        text += format("  %7d %7d %7d", figures.average, figures.minimum, figures.maximum);
      }
      text += "\n";
    }
  };
  for (const Break &found : selection.breaks) {
    addRecords(found.record);
    text += coloured("   " + wordsOf(found), kYellow) + "\n";
  }
  addRecords(selection.records.size());
  return text + counted(selection.records.size(), "record") + "\n";
}

std::string csvOf(const Selection &selection) {
  std::string text = "time,date";
  for (const Sensor &sensor : kSensors) {
    for (const char *figure : {"average", "minimum", "maximum"}) {
      text += format(",%s %s", sensor.name, figure);
    }
  }
  text += "\n";
  for (const Record &record : selection.records) {
    text += std::to_string(record.time) + "," + isoStamp(record.time, selection.clock);
    for (const Sensor &sensor : kSensors) {
      const Figures &figures = record.*sensor.figures;
      text += format(",%d,%d,%d", figures.average, figures.minimum, figures.maximum);
    }
    text += "\n";
  }
  return text;
}

Json jsonOf(const Selection &selection) {
  return object({{"file", selection.path},
                 {"records", list(selection.records,
                                  [&](const Record &record) {
                                    Json sensors = object();
                                    for (const Sensor &sensor : kSensors) {
                                      sensors.add(sensor.name, figuresJson(record.*sensor.figures));
                                    }
                                    return momentJson(record.time, selection.clock).add("sensors", sensors);
                                  })},
                 {"breaks", breaksJson(selection)}});
}

std::string statisticsOf(const Selection &selection) {
  const std::vector<Record> &records = selection.records;
  const auto [gaps, seconds] = gapsOf(selection);
  std::string text = "records  " + std::to_string(records.size());
  if (!records.empty()) {
    text += ", " + stamp(records.front().time, selection.clock) + " to " + stamp(records.back().time, selection.clock) +
            ", " + selection.clock.name();
  }
  text += "\ngaps     " +
          (gaps == 0 ? "none" : std::to_string(gaps) + ", together " + duration(seconds) + " without a record");
  for (const Break &found : selection.breaks) {
    if (found.kind == Break::kClock) {
      text += "\nclock    " + wordsOf(found) + " after " + stamp(found.from, selection.clock);
    }
  }
  text += "\n";
  if (records.empty()) {
    return text;
  }
  text += format("\n%-8s %9s  %-28s  %s\n", "sensor", "average", "minimum", "maximum");
  for (const Sensor &sensor : kSensors) {
    const Summary summary = summarise(records, sensor.figures);
    text += format("%-8s %9.1f  %-7d %-20s  %-7d %s\n", sensor.name, summary.average,
                   (summary.lowest.*sensor.figures).minimum, stamp(summary.lowest.time, selection.clock).c_str(),
                   (summary.highest.*sensor.figures).maximum, stamp(summary.highest.time, selection.clock).c_str());
  }
  return text;
}

Json statisticsJsonOf(const Selection &selection) {
  const std::vector<Record> &records = selection.records;
  const auto [gaps, seconds] = gapsOf(selection);
  Json document = object({{"file", selection.path},
                          {"records", records.size()},
                          {"gaps", gaps},
                          {"missingHours", seconds / kHour},
                          {"breaks", breaksJson(selection)}});
  if (records.empty()) {
    return document;
  }
  const auto extreme = [&](int value, const Record &record) {
    return momentJson(record.time, selection.clock).add("value", value);
  };
  document.add("first", momentJson(records.front().time, selection.clock))
      .add("last", momentJson(records.back().time, selection.clock));
  Json sensors = object();
  for (const Sensor &sensor : kSensors) {
    const Summary summary = summarise(records, sensor.figures);
    sensors.add(sensor.name,
                object({{"average", std::round(summary.average * 100) / 100},
                        {"minimum", extreme((summary.lowest.*sensor.figures).minimum, summary.lowest)},
                        {"maximum", extreme((summary.highest.*sensor.figures).maximum, summary.highest)}}));
  }
  return document.add("sensors", sensors);
}

std::vector<Finding> findingsOf(std::span<const Damage> damages, const Clock &clock, const std::string &file) {
  std::vector<Finding> findings;
  for (const Damage &damage : damages) {
    Json details = object({{"offset", damage.offset}});
    if (!file.empty()) {
      details.add("file", file);
    }
    if (damage.record) {
      details.add("record", damage.record->age)
          .add("slot", damage.record->slot)
          .addAll(momentJson(damage.record->time, clock));
    }
    findings.push_back({(file.empty() ? "" : file + ", ") + place(damage, clock), damage.text, damage.kind, details});
  }
  return findings;
}

Json summaryJsonOf(const DataFile &file, const std::string &path) {
  return object({{"file", path},
                 {"size", file.size},
                 {"head", file.header.head},
                 {"tail", file.header.tail},
                 {"records", file.records.size()},
                 {"refused", !file.refusals.empty()}});
}

}  // namespace vexora::tool::history
