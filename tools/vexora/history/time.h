// SPDX-License-Identifier: Apache-2.0
//
// Moments as people write and read them, in UTC or in the local time zone.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace vexora::tool::history {

/// Breaks seconds since the epoch down. Local times beyond what the machine's own time reaches are given in UTC.
std::tm breakDown(std::int64_t time, bool utc);

/// The moment of a date and time of day whose parts may be out of range, as in mktime.
std::int64_t moment(std::tm parts, bool utc);

/// "2026-03-02 14:00:00".
std::string stamp(std::int64_t time, bool utc);

/// "2026-03-02T14:00:00Z" or, local, "2026-03-02T15:00:00+01:00".
std::string isoStamp(std::int64_t time, bool utc);

/// "5 hours", "2 days and 3 hours".
std::string duration(std::int64_t seconds);

/// How a moment may be written, for the help texts.
inline constexpr const char *kMomentForms =
    "a date with or without a time (2026-03-02, \"2026-03-02 14:00\", 2026-03-02T14:00:00Z), @SECONDS since the epoch, "
    "or hours, days or weeks before the newest record (12h, 7d, 2w)";

/// Reads a moment in one of those forms; throws Failure(kUsage).
std::int64_t parseMoment(const std::string &text, bool utc, std::int64_t newest);

}  // namespace vexora::tool::history
