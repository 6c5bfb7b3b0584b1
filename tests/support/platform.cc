// SPDX-License-Identifier: Apache-2.0
#include "support/platform.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <map>
#include <mutex>
#include <sstream>
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
constexpr const char *kReadingsFile = "/var/ipmipdk_readings";
std::map<unsigned, double> readings;

thread_local int harnessDepth = 0;

void deliver(int level, bool maintenance, const char *format, std::va_list arguments) {
  const InHarness own;
  char text[4096];
  std::vsnprintf(text, sizeof text, format, arguments);
  const std::lock_guard hold(messagesLock);
  if (collecting) {
    messages.push_back({level, text, maintenance});
  } else {
    std::fprintf(stderr, "%s %d: %s\n", maintenance ? "maintenance" : "debug", level, text);
  }
}

}  // namespace

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

std::time_t FixedClock::now() const { return clockNow; }

void installSensorLibrary() {
  remove(kSensorLibrary);
  std::filesystem::create_symlink(VEXORA_SENSOR_LIBRARY, kSensorLibrary);
}

void setReading(unsigned sensor, double value) {
  readings[sensor] = value;
  std::ostringstream text;
  for (const auto &[known, reading] : readings) {
    text << std::hex << known << ' ' << reading << '\n';
  }
  write(kReadingsFile, text.str());
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
