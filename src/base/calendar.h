// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>

namespace vexora {

/// Converts seconds since the epoch to UTC; sets only date and time of day. Takes no lock, unlike the C library's
/// conversions, so it is safe in a signal handler that interrupted one of them.
inline std::tm breakDownUtc(std::int64_t secondsSinceEpoch) {
  const std::chrono::sys_seconds moment{std::chrono::seconds{secondsSinceEpoch}};
  const auto midnight = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day date{midnight};
  const std::chrono::hh_mm_ss clock{moment - midnight};
  std::tm parts{};
  parts.tm_year = static_cast<int>(date.year()) - 1900;
  parts.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
  parts.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
  parts.tm_hour = static_cast<int>(clock.hours().count());
  parts.tm_min = static_cast<int>(clock.minutes().count());
  parts.tm_sec = static_cast<int>(clock.seconds().count());
  return parts;
}

}  // namespace vexora
