// SPDX-License-Identifier: Apache-2.0
//
// The debug log. Marker files decide what is printed. A process caches the settings; a call that prints nothing costs
// one existence test and a few loads.
//
// A thread may reload the cache while others look something up, and a crash report may log from a signal handler that
// interrupted either. So nobody waits:
//  - There are two copies of the settings. The generation counts the reloads; its lowest bit selects the current copy.
//    A reload fills the other copy, then increments the generation. A lookup that finds the generation changed may have
//    read a mixture, and repeats.
//  - A reload reads the files into its own memory and decides by that. If another reload has incremented the generation
//    meanwhile, it fills the copy that is free now. For that moment a lookup may read a mixture of both reloads; then
//    the last one's settings are current, whole.
// All words are atomic. Stores of a copy's words are release, loads are acquire: this orders them with the generation
// without fences.

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <optional>
#include <string_view>

#include "base/calendar.h"
#include "base/descriptor.h"
#include "base/retry.h"
#include "diag/debug_log.h"
#include "diag/handler_output.h"
#include "diag/log_layout.h"
#include "diag/log_text.h"
#include "vexora/diag.h"

extern "C" {

const char *const DebugLevelDesc[4] = {"Info", "Warning", "Error", "Critical"};

const char *const DebugSourceFile[6] = {
    VEXORA_SWITCH_PREFIX "DEV",  VEXORA_SWITCH_PREFIX "IPMI",       VEXORA_SWITCH_PREFIX "REDFISH",
    VEXORA_SWITCH_PREFIX "SNMP", VEXORA_SWITCH_PREFIX "ZELMONITOR", VEXORA_SWITCH_PREFIX "CPLD",
};
}

using namespace vexora::diag;

namespace {

constexpr int kSyslogPriorities[kLevels] = {6, 4, 3, 2};

// The table that LoadDebugSource fills.
constexpr std::size_t kModuleSize = kModuleLength + 1;
constexpr std::size_t kWordsPerModule = kModuleSize / sizeof(std::uint32_t);

bool exists(const char *path) { return access(path, F_OK) == 0; }

template <std::size_t Count>
int firstExisting(const char *const (&markers)[Count]) {
  for (std::size_t i = 0; i < Count; ++i) {
    if (exists(markers[i])) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

using ModuleTable = std::array<char, kModules * kModuleSize>;

/// Visits a directory's entries in the kernel's order, without the heap, which a signal handler can't use. Stops when
/// `visit(name)` returns false.
template <typename Visit>
void forEachEntry(int directory, Visit visit) {
  alignas(dirent64) std::array<char, 2048> entries;
  for (;;) {
    const ssize_t filled = getdents64(directory, entries.data(), entries.size());
    if (filled <= 0) {
      return;
    }
    for (std::size_t at = 0; at < static_cast<std::size_t>(filled);) {
      std::uint16_t length = 0;
      std::memcpy(&length, &entries[at + offsetof(dirent64, d_reclen)], sizeof length);
      if (!visit(std::string_view(&entries[at + offsetof(dirent64, d_name)]))) {
        return;
      }
      at += length;
    }
  }
}

/// Reads the module switches and returns their number; nothing, with the table unchanged, when the directory can't be
/// opened.
std::optional<std::uint32_t> loadModules(ModuleTable &table) {
  const vexora::Descriptor directory(
      vexora::retryInterrupted([] { return open(VEXORA_DEBUG_DIRECTORY "/", O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  if (!directory) {
    return std::nullopt;
  }
  table.fill('\0');
  std::uint32_t used = 0;
  forEachEntry(directory.get(), [&](std::string_view name) {
    if (name.starts_with(kSwitchPrefix)) {
      name.remove_prefix(kSwitchPrefix.size());
      name.copy(&table[used * kModuleSize], kModuleLength);
      ++used;
    }
    return used < kModules;
  });
  return used;
}

/// The settings as words: the first holds threshold, destination and number of modules, a byte each, the rest the
/// module table.
using Settings = std::array<std::uint32_t, 1 + kModules * kWordsPerModule>;

/// A module name as in the table: at most 15 characters, padded with zeros. Equality is that of strncmp over 15
/// characters.
using PaddedName = std::array<std::uint32_t, kWordsPerModule>;

PaddedName padName(const char *module) {
  std::array<char, kModuleSize> padded{};
  for (std::size_t i = 0; i < kModuleLength && module[i] != '\0'; ++i) {
    padded[i] = module[i];
  }
  return std::bit_cast<PaddedName>(padded);
}

/// Returns the destination of a record by the settings that `word(index)` returns; nothing when it is not printed.
template <typename Word>
std::optional<int> decide(unsigned level, const char *module, Word word) {
  const std::uint32_t choices = word(0);
  if (static_cast<std::uint8_t>(choices) > level) {
    return std::nullopt;
  }
  const PaddedName name = padName(module);
  // An empty name also matches the unused slots.
  const std::size_t slots = module[0] == '\0' ? kModules : choices >> 16;
  for (std::size_t slot = 1; slot < 1 + slots * kWordsPerModule; slot += kWordsPerModule) {
    std::size_t equal = 0;
    while (equal < kWordsPerModule && word(slot + equal) == name[equal]) {
      ++equal;
    }
    if (equal == kWordsPerModule) {
      return static_cast<std::uint8_t>(choices >> 8);
    }
  }
  return std::nullopt;
}

class SettingsCache {
 public:
  /// Returns false until the settings were published once.
  [[nodiscard]] bool isLoaded() const { return generation_.load(std::memory_order_relaxed) != 0; }

  /// Calls `look(word)` on a consistent copy and returns what it returned.
  template <typename Look>
  auto consult(Look look) const {
    for (;;) {
      const std::uint32_t generation = generation_.load(std::memory_order_acquire);
      const Copy &copy = copies_[generation & 1];
      const auto result = look([&](std::size_t i) { return copy[i].load(std::memory_order_acquire); });
      if (generation_.load(std::memory_order_relaxed) == generation) {
        return result;
      }
    }
  }

  void publish(const Settings &settings) {
    std::uint32_t generation = generation_.load(std::memory_order_relaxed);
    do {
      Copy &copy = copies_[(generation + 1) & 1];
      for (std::size_t i = 0; i < copy.size(); ++i) {
        copy[i].store(settings[i], std::memory_order_release);
      }
    } while (!generation_.compare_exchange_strong(generation, generation + 1, std::memory_order_release));
  }

 private:
  using Copy = std::array<std::atomic<std::uint32_t>, Settings{}.size()>;

  std::array<Copy, 2> copies_{};
  std::atomic<std::uint32_t> generation_{0};
};

constinit SettingsCache cache;

/// Reads all settings from the marker files and publishes them.
Settings reload() {
  const auto threshold = static_cast<std::uint8_t>(GetDebugEanleLevel());
  // Without a directory the modules stay as they were.
  Settings settings = cache.consult([](auto word) {
    Settings words;
    for (std::size_t i = 0; i < words.size(); ++i) {
      words[i] = word(i);
    }
    return words;
  });
  std::uint32_t used = settings[0] >> 16;
  ModuleTable modules;
  if (const std::optional<std::uint32_t> found = loadModules(modules)) {
    used = *found;
    std::memcpy(settings.data() + 1, modules.data(), modules.size());
  }
  // A missing marker is -1, as a byte 255: above every level, and no destination.
  settings[0] = threshold | std::uint32_t{static_cast<std::uint8_t>(GetDebugEanlePath())} << 8 | used << 16;
  cache.publish(settings);
  return settings;
}

std::optional<int> destinationFor(unsigned level, const char *module) {
  if (!cache.isLoaded() || exists(kReloadMarker)) {
    const Settings settings = reload();
    return decide(level, module, [&](std::size_t i) { return settings[i]; });
  }
  return cache.consult([&](auto word) { return decide(level, module, word); });
}

// The C library converts to local time under a lock that isn't recursive. A handler that interrupted the conversion in
// its own thread would deadlock, so it uses the last known offset.
constinit thread_local bool convertingTime __attribute__((tls_model("initial-exec"))) = false;
constinit std::atomic<long> lastUtcOffset{0};

/// Returns local time by the last known offset; takes no lock.
std::tm localTimeByOffset(std::time_t now) {
  return vexora::breakDownUtc(std::int64_t{now} + lastUtcOffset.load(std::memory_order_relaxed));
}

std::tm localTime(std::time_t now) {
  std::tm local{};
  bool converted = false;
  if (!convertingTime) {
    convertingTime = true;
    tzset();
    converted = localtime_r(&now, &local) != nullptr;
    convertingTime = false;
  }
  if (!converted) {
    return localTimeByOffset(now);
  }
  lastUtcOffset.store(local.tm_gmtoff, std::memory_order_relaxed);
  return local;
}

/// The origin of a record: a plain call, or a signal handler, which must not touch locks or streams.
enum class Origin { kCall, kHandler };

/// Out of line, so that its buffers cost nothing in a call that prints nothing.
__attribute__((noinline, format(printf, 3, 0))) void printRecord(Origin origin, unsigned level, const char *format,
                                                                 std::va_list arguments) {
  vexora::LogText message;
  if (!message.render(format, arguments)) {
    return;
  }
  const std::time_t now = std::time(nullptr);
  const std::tm local = origin == Origin::kHandler ? localTimeByOffset(now) : localTime(now);
  char record[vexora::LogText::kSize + 128];
  std::snprintf(record, sizeof record, "[%s]:<%d-%02d-%02dT%02d:%02d:%02d>%s\n", DebugLevelDesc[level],
                local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                message.text);
  if (origin == Origin::kHandler) {
    vexora::writeFromHandler(record);
  } else {
    std::fputs(record, stdout);
  }
}

__attribute__((format(printf, 4, 0))) void log(Origin origin, unsigned level, const char *module, const char *format,
                                               std::va_list arguments) {
  if (level >= kLevels || module == nullptr || format == nullptr) {
    return;
  }
  const int callersErrno = errno;
  const std::optional<int> destination = destinationFor(level, module);
  errno = callersErrno;
  if (destination == kSerial || destination == kBoth) {
    printRecord(origin, level, format, arguments);
    errno = callersErrno;
  }
}

}  // namespace

namespace vexora {

void debugFromHandler(unsigned level, const char *module, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  log(Origin::kHandler, level, module, format, arguments);
  va_end(arguments);
}

void learnUtcOffset() { static_cast<void>(localTime(std::time(nullptr))); }

}  // namespace vexora

void VexoraDebug(unsigned level, const char *module, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  log(Origin::kCall, level, module, format, arguments);
  va_end(arguments);
}

int GetDebugEanleLevel() { return firstExisting(kLevelMarkers); }

int GetDebugEanlePath() { return firstExisting(kDestinationMarkers); }

int GetDebugSourceIsEnable(const char *module) {
  if (module == nullptr) {
    return -1;
  }
  char path[64];
  std::snprintf(path, sizeof path, "%sENABLE_%s", VEXORA_DEBUG_DIRECTORY "/", module);
  return exists(path) ? 1 : 0;
}

int GetSourceIsVaild(const char *module) {
  if (module == nullptr) {
    return -1;
  }
  char name[32];
  std::snprintf(name, sizeof name, "ENABLE_%s", module);
  for (const char *known : DebugSourceFile) {
    if (std::strcmp(name, known) == 0) {
      return 1;
    }
  }
  return 0;
}

int LoadDebugSource(char *table) {
  ModuleTable modules;
  if (table != nullptr && loadModules(modules)) {
    std::memcpy(table, modules.data(), modules.size());
  }
  return 0;
}

int TranslateToSyslogLevel(unsigned level) { return level < kLevels ? kSyslogPriorities[level] : -1; }
