// SPDX-License-Identifier: Apache-2.0
//
// The date of a FRU's board: minutes since 1996-01-01 00:00 in 24 bits, which start again after 31.9 years, for the
// first time on 2027-11-24. A count means any of several dates; the latest that is not in the future is taken.
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
  unsigned wraps = 0;   // how often the count started again
  bool future = false;  // even the earliest date that it means
};

/// The date that a count means; nothing for 0, which stands for an unknown date.
std::optional<Date> dateOf(std::uint32_t minutes, Minute today);

/// The count for a date in text. Throws Failure(kFinding) when there is none, or when dateOf would return another date
/// for it. Without `today` any of the dates that a count means is taken.
std::uint32_t minutesOf(std::string_view text, std::optional<Minute> today);

/// "2026-01-31T23:59Z" and back; the time may be left out, as may the "Z", and a blank may stand for the "T".
std::string toText(Minute date);
std::optional<Minute> toMinute(std::string_view text);

}  // namespace vexora::tool::fru
