// SPDX-License-Identifier: Apache-2.0
#include "support/platform.h"

#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <regex>
#include <utility>

#include "support/files.h"

namespace vexora::test {
namespace {

std::mutex messagesLock;
std::atomic<bool> collecting = false;
std::vector<PlatformMessage> messages;

constexpr const char *kSensorLibrary = "/usr/local/lib/libipmipdk.so";

void deliver(int level, bool maintenance, const char *format, std::va_list arguments) {
  const InHarness own;
  char text[4096];
  std::vsnprintf(text, sizeof text, format, arguments);
  const std::lock_guard hold(messagesLock);
  if (collecting) {
    messages.push_back({level, withoutLine(text), maintenance});
  } else {
    std::fprintf(stderr, "%s %d: %s\n", maintenance ? "maintenance" : "debug", level, text);
  }
}

}  // namespace

std::string withoutLine(std::string text) {
  std::smatch first;
  if (!std::regex_search(text, first, std::regex("[:([ ]([0-9]+)"))) {
    return text;
  }
  return std::regex_replace(text, std::regex("([:([ ])" + first.str(1) + "(?![0-9])"), "$1LINE");
}

PlatformLog::PlatformLog() {
  take();
  collecting = true;
}

PlatformLog::~PlatformLog() { collecting = false; }

std::vector<PlatformMessage> PlatformLog::take() {
  const std::lock_guard hold(messagesLock);
  return std::exchange(messages, {});
}

std::time_t FixedClock::now() {
  std::timespec real = {};
  clock_gettime(CLOCK_REALTIME, &real);
  const std::time_t moment = moment_;
  return moment == kNone ? real.tv_sec : moment;
}

void installSensorLibrary() {
  remove(kSensorLibrary);
  std::filesystem::create_symlink(VEXORA_SENSOR_LIBRARY, kSensorLibrary);
}

}  // namespace vexora::test

extern "C" {

void XDBG_LINUXAPP_DbgOut(int level, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  vexora::test::deliver(level, false, format, arguments);
  va_end(arguments);
}

void XDBG_LINUXAPP_MaintenceOut(int level, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  vexora::test::deliver(level, true, format, arguments);
  va_end(arguments);
}

std::time_t time(std::time_t *out) {
  const std::time_t now = vexora::test::FixedClock::now();
  if (out != nullptr) {
    *out = now;
  }
  return now;
}
}
