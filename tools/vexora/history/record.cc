// SPDX-License-Identifier: Apache-2.0
//
// A recorder at the bench. The library gives up a damaged file, and one from the future, without asking: a daemon can
// do nothing about it. A person can, so both are looked for before the library is let loose.

#include "history/record.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <iostream>

#include "history/file.h"
#include "history/time.h"
#include "vexora/history.h"

namespace vexora::tool::history {
namespace {

constexpr std::int32_t kNoHourYet = 24;

volatile std::sig_atomic_t stopped = 0;

void stop(int /*signal*/) { stopped = 1; }

/// The end of a sleep, and of the run, so that the last line and the JSON document are whole.
void catchSignals() {
  struct sigaction action {};
  action.sa_handler = stop;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

/// Why the library would give up the file there is; "" when it wouldn't.
std::string lossAhead(const std::string &path) {
  if (access(path.c_str(), F_OK) != 0) {
    return "";
  }
  const DataFile file = parseDataFile(readFile(path), Sign::kNone);
  if (!file.refusals.empty()) {
    return file.refusals.front().text;
  }
  if (!file.records.empty() && file.records.back().time > std::time(nullptr)) {
    return "the newest record, " + isoStamp(file.records.back().time, false) + ", is ahead of the clock";
  }
  return "";
}

void begin(const std::string &path, bool replace) {
  const std::string loss = lossAhead(path);
  if (!loss.empty() && !replace) {
    throw Failure(kFinding, path + ": " + loss + "; recording would give up this file (--replace allows it)");
  }
  int result = 0;
  const std::string messages = captured([&] {
    // The library takes an old file from the future as it is, to fail at the first record.
    result = !loss.empty() && InitHistoryDatFile() != 0 ? -1 : historyDataInit();
  });
  RecTmpData.last_record_hour = kNoHourYet;  // as the library has it from the first sample on
  if (result != 0) {
    throw Failure(kInaccessible, "cannot begin a history in " + path + ":\n" + messages);
  }
}

enum class Event { kSample, kRecord, kNoReading };
constexpr const char *kEventNames[] = {"sample", "record", "no reading"};

vexora_history_record newestRecord() {
  vexora_history_record newest{};
  static_cast<void>(vexora_ringlist_get_tail(HistoryDataRing, &newest));
  return newest;
}

/// What a call did: the library tells no more than that it didn't fail.
Event takeSample(const std::string &path) {
  const vexora_history_hour before = RecTmpData;
  int result = 0;
  const std::string messages = captured([&] { result = historyDataRecord(); });
  if (result != 0) {
    throw Failure(kInaccessible, "the record could not be stored, and " + path + " is given up:\n" + messages);
  }
  if (RecTmpData.last_record_hour != before.last_record_hour && RecTmpData.last_record_hour != kNoHourYet) {
    return Event::kRecord;
  }
  return RecTmpData.sensor_7000.samples > before.sensor_7000.samples ? Event::kSample : Event::kNoReading;
}

std::string details(Event event) {
  switch (event) {
    case Event::kSample:
      return " " + std::to_string(RecTmpData.sensor_7000.samples) + " of this hour";
    case Event::kRecord:
      return " stored: 0x7000 " + std::to_string(newestRecord().sensor_7000.average) + ", 0x3009 " +
             std::to_string(newestRecord().sensor_3009.average) + " on average";
    default:
      return "";
  }
}

void report(Session &session, Event event, Json &events) {
  const std::int64_t now = std::time(nullptr);
  const char *name = kEventNames[static_cast<std::size_t>(event)];
  if (event == Event::kNoReading) {
    session.found(kInaccessible);
  }
  if (session.json) {
    events.append(object({{"time", now}, {"event", name}}));
    return;
  }
  std::cout << stamp(now, false) << "  " << name << details(event) << std::endl;
}

/// Samples keep their distance however long one takes.
void sleepUntil(const timespec &moment) {
  while (stopped == 0 && clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &moment, nullptr) == EINTR) {
  }
}

}  // namespace

void record(Session &session, const RecordOptions &options) {
  const std::string path = session.path(kDataFile);
  begin(path, options.replace);
  catchSignals();
  timespec next{};
  clock_gettime(CLOCK_MONOTONIC, &next);
  Json events = array();
  for (unsigned taken = 0; stopped == 0;) {
    report(session, takeSample(path), events);
    if (++taken == options.count) {
      break;
    }
    next.tv_sec += static_cast<std::time_t>(options.every);
    sleepUntil(next);
  }
  session.answer(object({{"file", path}, {"events", events}}));
}

}  // namespace vexora::tool::history
