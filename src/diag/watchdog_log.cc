// SPDX-License-Identifier: Apache-2.0
//
// The watchdog log: time-stamped lines appended by any process, in a file that is deleted, never
// rotated, once it has reached its limit.

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string_view>

#include "base/calendar.h"
#include "base/file_size.h"
#include "base/owners.h"
#include "diag/log_text.h"
#include "vexora/diag.h"

namespace {

constexpr const char *kPath = "/extlog/syslog/WDT.log";
constexpr std::uint64_t kSizeLimit = 1024 * 1024;
constexpr std::size_t kPrefixSize = 256;

/// Appends a record. Prefix and text are small enough to leave the stream's buffer in one write, so
/// that records of several processes don't mix. A log that can't be written is no concern of the
/// watchdog's; only the size check tells.
void append(const vexora::LogText &message) {
  const std::tm now = vexora::breakDownUtc(std::time(nullptr));
  char prefix[kPrefixSize];
  const int prefixLength = std::snprintf(prefix, sizeof prefix, "[%d-%02d-%02d %02d:%02d:%02d] ", now.tm_year + 1900,
                                         now.tm_mon + 1, now.tm_mday, now.tm_hour, now.tm_min, now.tm_sec);
  const vexora::Stream log(std::fopen(kPath, "ab+e"));
  if (!log || prefixLength < 0) {
    return;
  }
  std::fwrite(prefix, static_cast<std::size_t>(prefixLength), 1, log.get());
  std::fwrite(message.text, message.length, 1, log.get());
}

int deleteWhenFull() {
  const auto size = vexora::fileSize(kPath);
  if (!size) {
    return -1;
  }
  return *size >= kSizeLimit ? std::remove(kPath) : 0;
}

}  // namespace

int TWatchDog1Log(const char *format, ...) {
  if (format == nullptr) {
    return -1;
  }
  vexora::LogText message;
  std::va_list arguments;
  va_start(arguments, format);
  const bool rendered = message.render(format, arguments);
  va_end(arguments);
  if (!rendered) {
    return -1;
  }
  append(message);
  return deleteWhenFull();
}
