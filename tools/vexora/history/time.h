// SPDX-License-Identifier: Apache-2.0
//
// Reads and writes moments in UTC, in the board's time or in this machine's.
#pragma once

#include <concepts>
#include <cstdint>
#include <ctime>
#include <map>
#include <string>

namespace vexora::tool::history {

inline constexpr std::int64_t kHour = 3600;
inline constexpr std::int64_t kDay = 24 * kHour;

/// The time in which moments are read and shown.
struct Clock {
  enum Kind { kUtc, kBoard, kLocal } kind = kUtc;
  // For kBoard: from each record's time on, the seconds by which the board is ahead of UTC, in whole hours.
  std::map<std::int64_t, std::int64_t> zones = {};

  /// Returns, for instance, "UTC" or "the board's hour".
  [[nodiscard]] const char *name() const;
};

/// Breaks seconds since the epoch down. Returns UTC for times beyond the machine's time_t.
std::tm breakDown(std::int64_t time, const Clock &clock);

/// Returns the seconds since the epoch. The parts may be out of range, as for mktime.
std::int64_t moment(std::tm parts, const Clock &clock);

/// Returns, for instance, "2026-03-02 14:00:05"; in the board's time, known to the hour only, "2026-03-02 14:00".
std::string stamp(std::int64_t time, const Clock &clock);

/// Returns "2026-03-02T14:00:05Z", in machine time "2026-03-02T15:00:05+01:00", in the board's time "2026-03-02T14:00".
std::string isoStamp(std::int64_t time, const Clock &clock);

/// Returns, for instance, "1 record" or "2 records".
std::string counted(std::integral auto number, const char *unit) {
  return std::to_string(number) + " " + unit + (number == 1 ? "" : "s");
}

/// Returns, for instance, "5 hours" or "2 days and 3 hours".
std::string duration(std::int64_t seconds);

/// The forms of a moment, for the help texts.
inline constexpr const char *kMomentForms =
    "a date with or without a time (2026-03-02, \"2026-03-02 14:00\", 2026-03-02T14:00:00Z), @SECONDS since the epoch, "
    "or hours, days or weeks before the newest record (12h, 7d, 2w)";

/// Reads a moment in one of these forms. Throws Failure(kUsage).
std::int64_t parseMoment(const std::string &text, const Clock &clock, std::int64_t newest);

}  // namespace vexora::tool::history
