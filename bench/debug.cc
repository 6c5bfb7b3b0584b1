// SPDX-License-Identifier: Apache-2.0
//
// Debug calls that print nothing, against the check for the marker that each needs, and one that prints, against
// formatting the same record once. Where instructions are counted, the check is left out: the kernel's share of it
// varies by more than the library's whole cost.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

#include "table.h"
#include "vexora/diag.h"

namespace {

bool looksForFiles = true;

}  // namespace

extern "C" int access(const char *path, int mode) noexcept {
  if (looksForFiles) {
    return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
  }
  errno = ENOENT;
  return -1;
}

namespace {

using vexora::bench::Aim;
using vexora::bench::Table;

constexpr int kCalls = 200;
constexpr const char *kDirectory = "/conf/vexora_debug";
constexpr const char *kReloadMarker = "/var/vexora_debug_reload";

void touch(const char *path) {
  if (std::FILE *const file = std::fopen(path, "wb")) {
    static_cast<void>(std::fclose(file));
  }
}

/// Makes the library read which modules are on; it keeps the result.
void reloadSettings() {
  touch(kReloadMarker);
  VexoraDebug(3, "IPMI", "settings read anew");
  static_cast<void>(std::remove(kReloadMarker));
}

bool markerIsMissing() { return access(kReloadMarker, F_OK) != 0; }

void printsNothing(Table &table, const char *path, Aim aim) {
  reloadSettings();
  looksForFiles = !table.counts();
  table.compare(
      path, aim, kCalls,
      [] {
        VexoraDebug(2, "IPMI", "sensor %d", 7);
        return true;
      },
      markerIsMissing);
  looksForFiles = true;
}

void prints(Table &table) {
  reloadSettings();
  looksForFiles = !table.counts();
  table.compare(
      "debug-printed", {.host = 1.2, .board = 1.35}, kCalls,
      [] {
        VexoraDebug(2, "IPMI", "sensor %d", 7);
        return true;
      },
      [] {
        const bool missing = markerIsMissing();
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        tzset();
        localtime_r(&now, &local);
        char record[1200];
        std::snprintf(record, sizeof record, "[%s]:<%d-%02d-%02dT%02d:%02d:%02d>sensor %d\n", "Error",
                      local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                      7);
        return std::fputs(record, stdout) >= 0 && missing;
      });
  looksForFiles = true;
}

}  // namespace

int main(int argc, char **argv) {
  Table table(argc, argv);
  printsNothing(table, "debug-level-off", {.host = 1.1, .instructions = 200});
  static_cast<void>(mkdir(kDirectory, S_IRWXU));
  for (const char *marker :
       {"/conf/vexora_debug/LEVEL_INFO", "/conf/vexora_debug/PATH_SERIAL", "/conf/vexora_debug/ENABLE_SNMP"}) {
    touch(marker);
  }
  printsNothing(table, "debug-module-off", {.host = 1.1, .instructions = 562});
  touch("/conf/vexora_debug/ENABLE_IPMI");
  prints(table);
  return table.status();
}
