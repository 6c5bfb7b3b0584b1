// SPDX-License-Identifier: Apache-2.0
#include "fru/date.h"

#include <charconv>

#include "core/tool.h"

namespace vexora::tool::fru {
namespace {

namespace chrono = std::chrono;

constexpr Minute kEpoch = chrono::sys_days(chrono::year(1996) / 1 / 1);

/// Removes a number of exactly `digits` digits from the front of a text.
std::optional<unsigned> takeNumber(std::string_view &text, std::size_t digits) {
  unsigned number = 0;
  if (text.size() < digits) {
    return std::nullopt;
  }
  const auto [end, error] = std::from_chars(text.data(), text.data() + digits, number);
  if (error != std::errc() || end != text.data() + digits) {
    return std::nullopt;
  }
  text.remove_prefix(digits);
  return number;
}

bool take(std::string_view &text, std::string_view anyOf) {
  if (text.empty() || anyOf.find(text[0]) == std::string_view::npos) {
    return false;
  }
  text.remove_prefix(1);
  return true;
}

/// Removes "T23:59Z" from the front of a text. An empty text is midnight.
std::optional<chrono::minutes> takeTime(std::string_view &text) {
  if (text.empty()) {
    return chrono::minutes(0);
  }
  const bool begun = take(text, "T ");
  const auto hour = begun ? takeNumber(text, 2) : std::nullopt;
  const auto minute = hour && take(text, ":") ? takeNumber(text, 2) : std::nullopt;
  take(text, "Z");
  if (!minute || *hour > 23 || *minute > 59) {
    return std::nullopt;
  }
  return chrono::minutes(*hour * 60 + *minute);
}

}  // namespace

std::optional<Date> dateOf(std::uint32_t count, Minute today) {
  if (count == 0) {
    return std::nullopt;
  }
  Date date = {kEpoch + chrono::minutes(count)};
  date.future = date.at > today;
  while (today - date.at >= chrono::minutes(kMinuteCounts)) {
    date.at += chrono::minutes(kMinuteCounts);
    ++date.wraps;
  }
  return date;
}

std::uint32_t minutesOf(std::string_view text, std::optional<Minute> today) {
  const Minute at = toMinute(text).value_or(kEpoch);
  const auto count = static_cast<std::uint32_t>((at - kEpoch).count() % kMinuteCounts);
  if (at < kEpoch || count == 0) {
    throw Failure(kFinding, "'" + printable(text) + "' is no date from 1996 on, such as 2026-01-31T23:59Z");
  }
  if (const Minute read = dateOf(count, today.value_or(at))->at; read != at) {
    throw Failure(kFinding, "'" + printable(text) + "' would read back as " + toText(read) +
                                ": its 24 bits of minutes start again after 31.9 years");
  }
  return count;
}

std::string toText(Minute date) {
  const auto day = chrono::floor<chrono::days>(date);
  const chrono::year_month_day ymd(day);
  const auto time = static_cast<int>((date - day).count());
  return format("%04d-%02u-%02uT%02d:%02dZ", static_cast<int>(ymd.year()), static_cast<unsigned>(ymd.month()),
                static_cast<unsigned>(ymd.day()), time / 60, time % 60);
}

std::optional<Minute> toMinute(std::string_view text) {
  const auto year = takeNumber(text, 4);
  const auto month = year && take(text, "-") ? takeNumber(text, 2) : std::nullopt;
  const auto day = month && take(text, "-") ? takeNumber(text, 2) : std::nullopt;
  const auto time = day ? takeTime(text) : std::nullopt;
  if (!time || !text.empty()) {
    return std::nullopt;
  }
  const chrono::year_month_day date(chrono::year(static_cast<int>(*year)), chrono::month(*month), chrono::day(*day));
  return date.ok() ? std::optional(chrono::sys_days(date) + *time) : std::nullopt;
}

}  // namespace vexora::tool::fru
