// SPDX-License-Identifier: Apache-2.0
//
// The local time zone, read anew by every call: an operator may change it while a daemon runs.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>

#include "vexora/text.h"

namespace {

constexpr int kNoOffset = -1;
constexpr int kMinuteSeconds = 60;
constexpr int kHourMinutes = 60;

std::optional<long> utcOffset() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  tzset();
  if (localtime_r(&now, &local) == nullptr) {
    return std::nullopt;
  }
  return local.tm_gmtoff;
}

}  // namespace

int VexoraGetUTC_SecondsOffset() { return static_cast<int>(utcOffset().value_or(kNoOffset)); }

void VexoraLogTime2TmMode(uint32_t logTime, struct tm *out) {
  if (out == nullptr) {
    return;
  }
  const auto moment = static_cast<std::time_t>(std::int64_t{logTime} - utcOffset().value_or(0));
  std::tm local{};
  if (localtime_r(&moment, &local) != nullptr) {
    *out = local;
  }
}

int get_time_zone(char *text, size_t size) {
  const int offset = VexoraGetUTC_SecondsOffset();
  if (text == nullptr || offset == kNoOffset) {
    return -1;
  }
  const int minutes = std::abs(offset) / kMinuteSeconds;
  static_cast<void>(
      std::snprintf(text, size, "%s%02d:%02d", offset < 0 ? "-" : "+", minutes / kHourMinutes, minutes % kHourMinutes));
  return 0;
}
