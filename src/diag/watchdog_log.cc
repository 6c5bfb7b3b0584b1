// SPDX-License-Identifier: Apache-2.0
//
// The watchdog log: any process appends time-stamped lines to one file. At its size limit the file is deleted, not
// rotated.

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string_view>

#include "base/calendar.h"
#include "base/file_size.h"
#include "base/owners.h"
#include "diag/log_layout.h"
#include "diag/log_text.h"
#include "vexora/diag.h"

using vexora::diag::kWatchdogLog;

namespace {

constexpr std::uint64_t kSizeLimit = 1024 * 1024;
constexpr std::size_t kPrefixSize = 32;  // more than any prefix

/// Appends a record. The stream's buffer holds all of it, whatever the file's block size, so it leaves in one write and
/// records of several processes don't mix. Write failures are ignored: only the size check afterwards reports.
void append(const vexora::LogText &message) {
  const std::tm now = vexora::breakDownUtc(std::time(nullptr));
  char buffer[kPrefixSize + vexora::LogText::kSize];  // outlives the stream
  const vexora::Stream log(std::fopen(kWatchdogLog, "ab+e"));
  if (!log) {
    return;
  }
  static_cast<void>(std::setvbuf(log.get(), buffer, _IOFBF, sizeof buffer));
  std::fprintf(log.get(), "[%d-%02d-%02d %02d:%02d:%02d] ", now.tm_year + 1900, now.tm_mon + 1, now.tm_mday,
               now.tm_hour, now.tm_min, now.tm_sec);
  std::fwrite(message.text, message.length, 1, log.get());
}

int deleteWhenFull() {
  const auto size = vexora::fileSize(kWatchdogLog);
  if (!size) {
    return -1;
  }
  return *size >= kSizeLimit ? std::remove(kWatchdogLog) : 0;
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
