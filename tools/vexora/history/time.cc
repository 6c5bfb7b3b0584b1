// SPDX-License-Identifier: Apache-2.0
#include "history/time.h"

#include <array>
#include <chrono>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "core/tool.h"

namespace vexora::tool::history {
namespace {

namespace chrono = std::chrono;

constexpr const char *kDateForms[] = {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%dT%H:%M", "%Y-%m-%d %H:%M:%S",
                                      "%Y-%m-%dT%H:%M:%S"};

std::tm breakDownUtc(std::int64_t time) {
  const chrono::sys_seconds point{chrono::seconds{time}};
  const auto midnight = chrono::floor<chrono::days>(point);
  const chrono::year_month_day date{midnight};
  const chrono::hh_mm_ss clock{point - midnight};
  std::tm parts{};
  parts.tm_year = static_cast<int>(date.year()) - 1900;
  parts.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
  parts.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
  parts.tm_hour = static_cast<int>(clock.hours().count());
  parts.tm_min = static_cast<int>(clock.minutes().count());
  parts.tm_sec = static_cast<int>(clock.seconds().count());
  return parts;
}

std::string formatted(const std::tm &parts, const char *form) {
  std::array<char, 64> text{};
  return {text.data(), std::strftime(text.data(), text.size(), form, &parts)};
}

std::int64_t zoneAt(std::int64_t time, const Clock &clock) {
  if (clock.kind != Clock::kBoard || clock.zones.empty()) {
    return 0;
  }
  const auto after = clock.zones.upper_bound(time);
  return after == clock.zones.begin() ? after->second : std::prev(after)->second;
}

/// Returns the seconds of an hour, a day or a week; 0 for other letters.
std::int64_t unitOf(char letter) { return letter == 'h' ? kHour : letter == 'd' ? kDay : letter == 'w' ? 7 * kDay : 0; }

std::optional<std::int64_t> parseDate(std::string text, const Clock &clock) {
  if (text.ends_with('Z')) {
    text.pop_back();
    return parseDate(text, {});
  }
  for (const char *form : kDateForms) {
    std::tm parts{};
    const char *end = strptime(text.c_str(), form, &parts);
    if (end == nullptr || *end != '\0') {
      continue;
    }
    const std::int64_t time = moment(parts, clock);
    const std::tm back = breakDown(time, clock);
    // The 30th of February becomes a day of March, so it is refused.
    return back.tm_mday == parts.tm_mday && back.tm_mon == parts.tm_mon ? std::optional(time) : std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

const char *Clock::name() const {
  constexpr const char *kNames[] = {"UTC", "the board's hour", "this machine's time"};
  return kNames[kind];
}

std::tm breakDown(std::int64_t time, const Clock &clock) {
  std::tm parts{};
  if (clock.kind == Clock::kLocal && std::in_range<std::time_t>(time)) {
    const auto seconds = static_cast<std::time_t>(time);
    if (localtime_r(&seconds, &parts) != nullptr) {
      return parts;
    }
  }
  return breakDownUtc(time + zoneAt(time, clock));
}

std::int64_t moment(std::tm parts, const Clock &clock) {
  if (clock.kind == Clock::kLocal) {
    parts.tm_isdst = -1;
    return std::mktime(&parts);
  }
  const chrono::year_month first = chrono::year(parts.tm_year + 1900) / chrono::January;
  const chrono::sys_days month = chrono::sys_days((first + chrono::months(parts.tm_mon)) / chrono::day(1));
  const std::int64_t time = chrono::sys_seconds(month).time_since_epoch().count() + (parts.tm_mday - 1) * kDay +
                            parts.tm_hour * kHour + parts.tm_min * 60 + parts.tm_sec;
  return time - zoneAt(time - zoneAt(time, clock), clock);
}

std::string stamp(std::int64_t time, const Clock &clock) {
  return formatted(breakDown(time, clock), clock.kind == Clock::kBoard ? "%Y-%m-%d %H:00" : "%Y-%m-%d %H:%M:%S");
}

std::string isoStamp(std::int64_t time, const Clock &clock) {
  constexpr const char *kForms[] = {"%Y-%m-%dT%H:%M:%SZ", "%Y-%m-%dT%H:00", "%Y-%m-%dT%H:%M:%S%z"};
  std::string text = formatted(breakDown(time, clock), kForms[clock.kind]);
  return clock.kind == Clock::kLocal ? text.insert(text.size() - 2, ":") : text;
}

std::string duration(std::int64_t seconds) {
  if (seconds < kHour) {
    return seconds < 60 ? counted(seconds, "second") : counted(seconds / 60, "minute");
  }
  const std::int64_t hours = seconds / kHour;
  if (hours < 24) {
    return counted(hours, "hour");
  }
  const std::string days = counted(hours / 24, "day");
  return hours % 24 == 0 ? days : days + " and " + counted(hours % 24, "hour");
}

std::int64_t parseMoment(const std::string &text, const Clock &clock, std::int64_t newest) {
  std::optional<std::int64_t> time;
  if (text.starts_with('@')) {
    time = parseNumber(std::string_view(text).substr(1), UINT32_MAX);
  } else if (!text.empty() && unitOf(text.back()) != 0) {
    const std::optional<std::int64_t> units =
        parseNumber(std::string_view(text).substr(0, text.size() - 1), UINT32_MAX);
    time = units ? std::optional(newest - *units * unitOf(text.back())) : std::nullopt;
  } else {
    time = parseDate(text, clock);
  }
  if (!time) {
    throw Failure(kUsage, "not a moment: " + printable(text) + "; expected " + kMomentForms);
  }
  return *time;
}

}  // namespace vexora::tool::history
