// SPDX-License-Identifier: Apache-2.0
#include "support/platform.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <utility>

#include "support/files.h"

namespace vexora::test {
namespace {

std::mutex messagesLock;
bool collecting = false;
std::vector<PlatformMessage> messages;

std::atomic<bool> clockFixed = false;
std::atomic<std::time_t> clockNow = 0;

constexpr const char *kSensorLibrary = "/usr/local/lib/libipmipdk.so";

thread_local int harnessDepth = 0;

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
  std::string line;
  for (std::size_t at = 0; (at = text.find_first_of(":([ ", at)) != std::string::npos;) {
    ++at;
    const std::string digits = text.substr(at, text.find_first_not_of("0123456789", at) - at);
    if (!digits.empty() && (line.empty() || digits == line)) {
      line = digits;
      text.replace(at, digits.size(), "LINE");
    }
  }
  return text;
}

PlatformLog::PlatformLog() {
  const std::lock_guard hold(messagesLock);
  messages.clear();
  collecting = true;
}

PlatformLog::~PlatformLog() {
  const std::lock_guard hold(messagesLock);
  collecting = false;
}

std::vector<PlatformMessage> PlatformLog::take() {
  const std::lock_guard hold(messagesLock);
  return std::exchange(messages, {});
}

FixedClock::FixedClock(std::time_t now) { set(now); }

FixedClock::~FixedClock() { clockFixed = false; }

void FixedClock::set(std::time_t now) {
  clockNow = now;
  clockFixed = true;
}

void FixedClock::advance(std::time_t seconds) { clockNow += seconds; }

void installSensorLibrary() {
  remove(kSensorLibrary);
  std::filesystem::create_symlink(VEXORA_SENSOR_LIBRARY, kSensorLibrary);
}

InHarness::InHarness() { ++harnessDepth; }

InHarness::~InHarness() { --harnessDepth; }

bool InHarness::active() { return harnessDepth > 0; }

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
  std::timespec real = {};
  clock_gettime(CLOCK_REALTIME, &real);
  const std::time_t now = vexora::test::clockFixed ? vexora::test::clockNow.load() : real.tv_sec;
  if (out != nullptr) {
    *out = now;
  }
  return now;
}
}
