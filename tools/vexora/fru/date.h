// SPDX-License-Identifier: Apache-2.0
//
// The manufacturing date of a FRU's board: minutes since 1996-01-01 00:00 in 24 bits. The count wraps every 31.9 years,
// first on 2027-11-24, so it is ambiguous: it is read as the latest of its dates that is not in the future.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vexora::tool::fru {

using Minute = std::chrono::sys_time<std::chrono::minutes>;

constexpr std::uint32_t kMinuteCounts = 1U << 24U;

struct Date {
  Minute at;
  unsigned wraps = 0;   // number of times that the count wrapped
  bool future = false;  // even the count's earliest date is in the future
};

/// Returns a count's date, or nothing for 0, which means unknown.
std::optional<Date> dateOf(std::uint32_t minutes, Minute today);

/// Returns the count for a date in text. Throws Failure(kFinding) for other texts, and when dateOf would return another
/// date for that count. Without `today` accepts any date from 1996 on.
std::uint32_t minutesOf(std::string_view text, std::optional<Minute> today);

/// "2026-01-31T23:59Z". toMinute accepts a date without the time or the "Z", and a blank instead of the "T".
std::string toText(Minute date);
std::optional<Minute> toMinute(std::string_view text);

}  // namespace vexora::tool::fru
