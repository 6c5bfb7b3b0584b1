// SPDX-License-Identifier: Apache-2.0
//
// Moments as people write and read them: in UTC, in the board's time or in this machine's.
#pragma once

#include <concepts>
#include <cstdint>
#include <ctime>
#include <map>
#include <string>

namespace vexora::tool::history {

inline constexpr std::int64_t kHour = 3600;
inline constexpr std::int64_t kDay = 24 * kHour;

/// Whose time is read and shown: UTC unless said.
struct Clock {
  enum Kind { kUtc, kBoard, kLocal } kind = kUtc;
  // The board's: seconds ahead of UTC, in whole hours, from each of its records on.
  std::map<std::int64_t, std::int64_t> zones = {};

  /// "UTC", "the board's hour".
  [[nodiscard]] const char *name() const;
};

/// Breaks seconds since the epoch down. Local times beyond what the machine's own time reaches are given in UTC.
std::tm breakDown(std::int64_t time, const Clock &clock);

/// The moment of a date and time of day whose parts may be out of range, as in mktime.
std::int64_t moment(std::tm parts, const Clock &clock);

/// "2026-03-02 14:00:05"; the board's time is known to the hour: "2026-03-02 14:00".
std::string stamp(std::int64_t time, const Clock &clock);

/// "2026-03-02T14:00:05Z", this machine's "2026-03-02T15:00:05+01:00", the board's "2026-03-02T14:00".
std::string isoStamp(std::int64_t time, const Clock &clock);

/// "1 record", "2 records".
std::string counted(std::integral auto number, const char *unit) {
  return std::to_string(number) + " " + unit + (number == 1 ? "" : "s");
}

/// "5 hours", "2 days and 3 hours".
std::string duration(std::int64_t seconds);

/// How a moment may be written, for the help texts.
inline constexpr const char *kMomentForms =
    "a date with or without a time (2026-03-02, \"2026-03-02 14:00\", 2026-03-02T14:00:00Z), @SECONDS since the epoch, "
    "or hours, days or weeks before the newest record (12h, 7d, 2w)";

/// Reads a moment in one of those forms; throws Failure(kUsage).
std::int64_t parseMoment(const std::string &text, const Clock &clock, std::int64_t newest);

}  // namespace vexora::tool::history
