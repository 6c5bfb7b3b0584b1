// SPDX-License-Identifier: Apache-2.0
#include "history/time.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string_view>
#include <utility>

#include "core/tool.h"
#include "history/file.h"

namespace vexora::tool::history {
namespace {

namespace chrono = std::chrono;

constexpr const char *kForms[] = {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%dT%H:%M", "%Y-%m-%d %H:%M:%S",
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

std::string counted(std::int64_t number, const char *unit) {
  return std::to_string(number) + " " + unit + (number == 1 ? "" : "s");
}

std::int64_t unitOf(char letter) {
  switch (letter) {
    case 'h':
      return kHour;
    case 'd':
      return kDay;
    case 'w':
      return 7 * kDay;
    default:
      return 0;
  }
}

std::optional<std::int64_t> parseDate(std::string text, bool utc) {
  if (text.ends_with('Z')) {
    text.pop_back();
    utc = true;
  }
  for (const char *form : kForms) {
    std::tm parts{};
    const char *end = strptime(text.c_str(), form, &parts);
    if (end == nullptr || *end != '\0') {
      continue;
    }
    const std::int64_t time = moment(parts, utc);
    const std::tm back = breakDown(time, utc);
    // A thirtieth of February would come back as another day.
    return back.tm_mday == parts.tm_mday && back.tm_mon == parts.tm_mon ? std::optional(time) : std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

std::tm breakDown(std::int64_t time, bool utc) {
  std::tm parts{};
  if (!utc && std::in_range<std::time_t>(time)) {
    const auto seconds = static_cast<std::time_t>(time);
    if (localtime_r(&seconds, &parts) != nullptr) {
      return parts;
    }
  }
  return breakDownUtc(time);
}

std::int64_t moment(std::tm parts, bool utc) {
  if (utc) {
    const chrono::year_month first = chrono::year(parts.tm_year + 1900) / chrono::January;
    const chrono::sys_days month = chrono::sys_days((first + chrono::months(parts.tm_mon)) / chrono::day(1));
    return chrono::sys_seconds(month).time_since_epoch().count() + (parts.tm_mday - 1) * kDay + parts.tm_hour * kHour +
           parts.tm_min * 60 + parts.tm_sec;
  }
  parts.tm_isdst = -1;
  return std::mktime(&parts);
}

std::string stamp(std::int64_t time, bool utc) { return formatted(breakDown(time, utc), "%Y-%m-%d %H:%M:%S"); }

std::string isoStamp(std::int64_t time, bool utc) {
  const std::tm parts = breakDown(time, utc);
  const std::string zone = utc ? "Z" : formatted(parts, "%z").insert(3, ":");
  return formatted(parts, "%Y-%m-%dT%H:%M:%S") + zone;
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

std::int64_t parseMoment(const std::string &text, bool utc, std::int64_t newest) {
  std::optional<std::int64_t> time;
  if (text.starts_with('@')) {
    time = parseNumber(std::string_view(text).substr(1), UINT32_MAX);
  } else if (!text.empty() && unitOf(text.back()) != 0) {
    const std::optional<std::int64_t> units =
        parseNumber(std::string_view(text).substr(0, text.size() - 1), UINT32_MAX);
    time = units ? std::optional(newest - *units * unitOf(text.back())) : std::nullopt;
  } else {
    time = parseDate(text, utc);
  }
  if (!time) {
    throw Failure(kUsage, "not a moment: " + printable(text) + "; expected " + kMomentForms);
  }
  return *time;
}

}  // namespace vexora::tool::history
