// SPDX-License-Identifier: Apache-2.0
//
// Data files, and the answers to queries of them: the plain model for test and fuzz target.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "vexora/history.h"

namespace vexora::test {

inline constexpr std::uint32_t kSlots = 8760;
inline constexpr std::size_t kImageSize = 245'300;
inline constexpr std::time_t kHour = 3600;
inline constexpr std::time_t kNoon = 1'709'208'000;  // 2024-02-29 12:00:00 UTC

using Record = vexora_history_record;

// A data file, in its layout: the header's five numbers, then the slots.
struct Image {
  std::uint32_t head = 0;
  std::uint32_t tail = kSlots - 1;
  std::uint32_t itemSize = 28;
  std::uint32_t capacity = kSlots;
  std::uint32_t count = 0;
  std::array<Record, kSlots> slots = {};

  Image &push(const Record &record) {
    tail = (tail + 1) % kSlots;
    slots[tail] = record;
    count += count < kSlots ? 1 : 0;
    head = count < kSlots ? 0 : (tail + 1) % kSlots;
    return *this;
  }
  [[nodiscard]] std::string bytes() const { return {reinterpret_cast<const char *>(this), kImageSize}; }
};
static_assert(sizeof(Image) == kImageSize);

// A record of a moment of UTC; its figures depend on the moment.
inline Record recordAt(std::time_t moment) {
  const auto seconds = static_cast<std::uint32_t>(moment);
  const auto part = [](std::time_t value) { return static_cast<std::uint16_t>(value); };
  const std::time_t minute = moment / 60;
  std::tm utc{};
  gmtime_r(&moment, &utc);
  return {.sensor_7000 = {part(minute), part(minute + 1), part(minute + 2)},
          .sensor_3009 = {part(minute + 3), part(minute + 4), part(minute + 5)},
          .hour = part(utc.tm_hour),
          .day = part(utc.tm_mday),
          .month = part(utc.tm_mon + 1),
          .year = part(utc.tm_year + 1900),
          .time = seconds,
          .query_time = seconds};
}

// Hourly records, the first one at `first`.
inline Image hourly(unsigned number, std::time_t first) {
  Image image;
  for (unsigned i = 0; i < number; ++i) {
    image.push(recordAt(first + static_cast<std::time_t>(i) * kHour));
  }
  return image;
}

struct Query {
  std::uint32_t type;
  std::uint32_t start;
  std::uint32_t end;
};

// The answer of getHistoryData to a caller whose count was 7 before.
struct QueryAnswer {
  int result = -1;
  std::uint32_t count = 7;
  std::string entries = {};

  bool operator==(const QueryAnswer &) const = default;
};

inline std::ostream &operator<<(std::ostream &stream, const QueryAnswer &answer) {
  return stream << answer.result << ", count " << answer.count << ", of " << answer.entries.size() << " bytes";
}

// The rules for positions one by one, in numbers too wide to wrap.
inline QueryAnswer reference(const Image &file, const Query &query) {
  const auto [type, start, end] = query;
  const std::int64_t n = file.count;
  const auto recordAge = [&](std::int64_t age) -> const Record & {
    return file.slots[(file.head + static_cast<std::uint32_t>(age)) % kSlots];
  };
  const auto timeOf = [&](std::int64_t age) { return recordAge(age).query_time; };
  const std::uint32_t oldest = file.slots[file.head].query_time;
  if (start >= end || (type != 0 && type != 1 && type != 4)) {
    return {};
  }
  if (start > file.slots[file.tail].query_time || end < oldest) {
    return {0, 0};
  }
  if (start > oldest && n == 0) {
    return {};
  }
  std::int64_t i = start > oldest ? std::min<std::int64_t>((start - oldest) / 3600 + 1, n - 1) : 0;
  if (i > 1) {
    while (i > 0 && start < timeOf(i - 1)) {
      --i;
    }
    while (i < n - 1 && start > timeOf(i + 1)) {
      ++i;
    }
  }
  QueryAnswer answer{.result = 0};
  for (; i < n && timeOf(i) < end; ++i) {
    const std::string_view bytes(reinterpret_cast<const char *>(&recordAge(i)), sizeof(Record));
    answer.entries += type == 4 ? bytes.substr(0, 12) : bytes.substr(type == 0 ? 6 : 0, 6);
    answer.entries += bytes.substr(12);
    ++answer.count;
  }
  answer.result = static_cast<int>(answer.entries.size());
  return answer;
}

}  // namespace vexora::test
