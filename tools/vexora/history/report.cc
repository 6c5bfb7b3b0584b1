// SPDX-License-Identifier: Apache-2.0
#include "history/report.h"

#include <algorithm>
#include <cmath>

#include "history/time.h"

namespace vexora::tool::history {
namespace {

constexpr int kYellow = 33;

const char *zoneName(bool utc) { return utc ? "UTC" : "local time"; }

std::int64_t missingHours(std::span<const Record> records, unsigned &gaps) {
  std::int64_t hours = 0;
  for (std::size_t i = 1; i < records.size(); ++i) {
    const std::int64_t missing = hoursMissing(records[i - 1], records[i]);
    hours += missing;
    gaps += missing > 0 ? 1 : 0;
  }
  return hours;
}

struct Summary {
  Record lowest;   // the record that has the minimum
  Record highest;  // and the maximum
  double average = 0;
};

/// There is at least one record.
Summary summarise(std::span<const Record> records, Figures Record::*sensor) {
  const auto least = [&](const Record &a, const Record &b) { return (a.*sensor).minimum < (b.*sensor).minimum; };
  const auto most = [&](const Record &a, const Record &b) { return (a.*sensor).maximum < (b.*sensor).maximum; };
  Summary summary{*std::min_element(records.begin(), records.end(), least),
                  *std::max_element(records.begin(), records.end(), most)};
  for (const Record &record : records) {
    summary.average += (record.*sensor).average / static_cast<double>(records.size());
  }
  return summary;
}

Json figuresJson(const Figures &figures) {
  return object({{"average", figures.average}, {"minimum", figures.minimum}, {"maximum", figures.maximum}});
}

Json momentJson(std::int64_t time) { return object({{"time", time}, {"utc", isoStamp(time, true)}}); }

Json extremeJson(int value, const Record &record) { return momentJson(record.time).add("value", value); }

std::string place(const Damage &damage, bool utc) {
  std::string offset = "offset " + std::to_string(damage.offset);
  if (!damage.record) {
    return offset;
  }
  const Record &record = *damage.record;
  return format("record %u, slot %u, ", record.age, record.slot) + offset + ", " + stamp(record.time, utc);
}

}  // namespace

std::string tableOf(std::span<const Record> records, bool utc) {
  std::string text = format("%-19s  %23s  %23s\n", "", "sensor 0x7000", "sensor 0x3009");
  text += format("%-19s  %7s %7s %7s  %7s %7s %7s\n", zoneName(utc), "average", "min", "max", "average", "min", "max");
  for (std::size_t i = 0; i < records.size(); ++i) {
    const std::int64_t missing = i == 0 ? 0 : hoursMissing(records[i - 1], records[i]);
    if (missing > 0) {
      text += coloured("   " + duration(missing * kHour) + " without a record", kYellow) + "\n";
    }
    text += stamp(records[i].time, utc);
    for (const Sensor &sensor : kSensors) {
      const Figures &figures = records[i].*sensor.figures;
      text += format("  %7d %7d %7d", figures.average, figures.minimum, figures.maximum);
    }
    text += "\n";
  }
  return text + std::to_string(records.size()) + (records.size() == 1 ? " record\n" : " records\n");
}

std::string csvOf(std::span<const Record> records, bool utc) {
  std::string text = "time,date";
  for (const Sensor &sensor : kSensors) {
    for (const char *figure : {"average", "minimum", "maximum"}) {
      text += format(",%s %s", sensor.name, figure);
    }
  }
  text += "\n";
  for (const Record &record : records) {
    text += std::to_string(record.time) + "," + isoStamp(record.time, utc);
    for (const Sensor &sensor : kSensors) {
      const Figures &figures = record.*sensor.figures;
      text += format(",%d,%d,%d", figures.average, figures.minimum, figures.maximum);
    }
    text += "\n";
  }
  return text;
}

Json jsonOf(std::span<const Record> records) {
  return object({{"records", list(records, [](const Record &record) {
                    Json local = object(
                        {{"year", record.year}, {"month", record.month}, {"day", record.day}, {"hour", record.hour}});
                    Json sensors = object();
                    for (const Sensor &sensor : kSensors) {
                      sensors.add(sensor.name, figuresJson(record.*sensor.figures));
                    }
                    return momentJson(record.time).add("local", local).add("sensors", sensors);
                  })}});
}

std::string statisticsOf(std::span<const Record> records, bool utc) {
  if (records.empty()) {
    return "no records\n";
  }
  unsigned gaps = 0;
  const std::int64_t missing = missingHours(records, gaps);
  std::string text = format("records  %zu, %s to %s %s\n", records.size(), stamp(records.front().time, utc).c_str(),
                            stamp(records.back().time, utc).c_str(), zoneName(utc));
  text += gaps == 0 ? "gaps     none\n"
                    : format("gaps     %u, together %s without a record\n", gaps, duration(missing * kHour).c_str());
  text += format("\n%-8s %9s  %-28s  %s\n", "sensor", "average", "minimum", "maximum");
  for (const Sensor &sensor : kSensors) {
    const Summary summary = summarise(records, sensor.figures);
    text += format("%-8s %9.1f  %-7d %-20s  %-7d %s\n", sensor.name, summary.average,
                   (summary.lowest.*sensor.figures).minimum, stamp(summary.lowest.time, utc).c_str(),
                   (summary.highest.*sensor.figures).maximum, stamp(summary.highest.time, utc).c_str());
  }
  return text;
}

Json statisticsJsonOf(std::span<const Record> records) {
  unsigned gaps = 0;
  const std::int64_t missing = missingHours(records, gaps);
  Json document = object({{"records", records.size()}, {"gaps", gaps}});
  document.add("missingHours", missing);
  if (records.empty()) {
    return document;
  }
  document.add("first", momentJson(records.front().time)).add("last", momentJson(records.back().time));
  Json sensors = object();
  for (const Sensor &sensor : kSensors) {
    const Summary summary = summarise(records, sensor.figures);
    sensors.add(sensor.name,
                object({{"average", std::round(summary.average * 100) / 100},
                        {"minimum", extremeJson((summary.lowest.*sensor.figures).minimum, summary.lowest)},
                        {"maximum", extremeJson((summary.highest.*sensor.figures).maximum, summary.highest)}}));
  }
  return document.add("sensors", sensors);
}

std::vector<Finding> findingsOf(std::span<const Damage> damages, bool utc) {
  std::vector<Finding> findings;
  for (const Damage &damage : damages) {
    Json details = object({{"offset", damage.offset}});
    if (damage.record) {
      details.add("record", damage.record->age)
          .add("slot", damage.record->slot)
          .addAll(momentJson(damage.record->time));
    }
    findings.push_back({place(damage, utc), damage.text, damage.kind, details});
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
