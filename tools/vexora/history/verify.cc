// SPDX-License-Identifier: Apache-2.0
//
// Finds the damage in a history data file. Each record is checked alone first; only sound records are compared with
// their neighbours, so that a damaged record is reported once.

#include <cstdint>
#include <cstdlib>

#include "history/file.h"
#include "history/time.h"

namespace vexora::tool::history {
namespace {

std::vector<Damage> checkWhole(const DataFile &file) {
  std::vector<Damage> findings = file.refusals;
  if (!findings.empty()) {
    return findings;
  }
  if (file.size > kFileSize) {
    findings.push_back(
        {"size", kFileSize, format("%zu bytes after the last slot, which nobody reads", file.size - kFileSize)});
  }
  const std::uint32_t ringHead = file.header.head;
  const std::uint32_t ringTail = file.header.tail;
  const std::uint32_t count = file.header.count;
  const std::uint32_t head = count < kCapacity ? 0 : (ringTail + 1) % kCapacity;
  if (ringHead != head) {
    findings.push_back(
        {"ring", offsetof(Header, head),
         format("head is %u; with %u records and tail %u it should be %u", ringHead, count, ringTail, head)});
  }
  const std::uint32_t tail = (ringHead + count + kCapacity - 1) % kCapacity;
  if (ringTail != tail) {
    findings.push_back({"ring", offsetof(Header, tail),
                        format("tail is %u; with %u records from slot %u on the newest is in slot %u", ringTail, count,
                               ringHead, tail)});
  }
  return findings;
}

/// Samples below zero are no damage, although they leave a small negative minimum and a meaningless average.
bool isInOrder(const Figures &figures) {
  return (figures.minimum <= figures.average && figures.average <= figures.maximum) || figures.minimum > INT16_MAX ||
         figures.minimum < 0;
}

bool isZero(const Record &record) {
  return record.time == 0 && record.firstTime == 0 && record.year == 0 && record.month == 0 && record.day == 0;
}

/// Returns what is wrong with a record's times, "" if nothing.
std::string timeDamage(const Record &record) {
  if (isZero(record)) {
    return kEmptySlot;
  }
  if (record.firstTime != record.time) {
    return "its two times differ: " + std::to_string(record.firstTime) + " and " + std::to_string(record.time);
  }
  const std::string date = format("%u-%u-%u, hour %u", record.year, record.month, record.day, record.hour);
  const std::optional<std::int64_t> wall = wallClock(record);
  if (!wall) {
    return "no such date: " + date;
  }
  // Time zones are from 12 hours behind UTC to 14 hours ahead. One hour more, as local minutes are not recorded.
  const std::int64_t ahead = *wall - record.time / kHour * kHour;
  if (ahead < -13 * kHour || ahead > 15 * kHour) {
    return "its date (" + date + ") is in no time zone that of its time (" + stamp(record.time, {}) + " UTC)";
  }
  return "";
}

std::string figuresDamage(const Record &record) {
  for (const Sensor &sensor : kSensors) {
    const Figures &figures = record.*sensor.figures;
    if (!isInOrder(figures)) {
      return format("sensor %s out of order: minimum %d, average %d, maximum %d", sensor.name, figures.minimum,
                    figures.average, figures.maximum);
    }
  }
  return "";
}

/// Compares a record with the previous sound one.
void compare(const Record &before, const Record &record, std::vector<Damage> &findings) {
  const auto found = [&](const char *kind, const std::string &what) {
    findings.push_back({kind, record.offset(), what, record});
  };
  const std::string since = " after record " + std::to_string(before.age);
  const std::optional<Break> pause = breakBetween(before, record);
  if (pause && pause->kind == Break::kClock && pause->amount < 0) {
    found("order", wordsOf(*pause) + since);
    return;
  }
  if (record.time - before.time < kHour && record.hour == before.hour) {
    found("order", "in the same hour as record " + std::to_string(before.age) + ", with which it should be one");
  }
  const std::int64_t moved = zoneOf(record) - zoneOf(before);
  if (std::llabs(moved) > kHour) {
    found("clock",
          "local time moved " + duration(std::llabs(moved)) + (moved > 0 ? " forward" : " back") + " against UTC");
  }
  if (pause && pause->kind != Break::kLeftOut) {
    found(pause->kind == Break::kClock ? "clock" : "gap", wordsOf(*pause) + since);
  }
}

}  // namespace

std::string damageOf(const Record &record) {
  const std::string damage = timeDamage(record);
  return damage.empty() ? figuresDamage(record) : damage;
}

std::vector<Damage> verify(const DataFile &file, std::int64_t now) {
  std::vector<Damage> findings = checkWhole(file);
  const std::vector<Record> sound = soundRecords(file);
  std::size_t next = 0;  // in `sound`
  for (const Record &record : file.records) {
    if (!record.damage.empty()) {
      findings.push_back({"record", record.offset(), record.damage, record});
      continue;
    }
    if (next > 0) {
      compare(sound[next - 1], sound[next], findings);
    }
    ++next;
  }
  if (!sound.empty() && sound.back().time > now) {
    findings.push_back(
        {"clock", sound.back().offset(),
         duration(sound.back().time - now) + " ahead of this machine's clock: a recorder here would give up the file",
         sound.back()});
  }
  return findings;
}

}  // namespace vexora::tool::history
