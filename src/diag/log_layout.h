// SPDX-License-Identifier: Apache-2.0
//
// The files of the logs. The debug log has marker files, of which only the existence counts: a switch for each module,
// and levels and paths, of each of which the first that exists applies.
#pragma once

#include <cstddef>
#include <string_view>

#define VEXORA_DEBUG_DIRECTORY "/conf/vexora_debug"
#define VEXORA_SWITCH_PREFIX "ENABLE_"

namespace vexora::diag {

inline constexpr const char *kWatchdogLog = "/extlog/syslog/WDT.log";

// While it exists, each log call reads the other markers.
inline constexpr const char *kReloadMarker = "/var/vexora_debug_reload";

inline constexpr unsigned kLevels = 4;
constexpr const char *kLevelMarkers[kLevels] = {
    VEXORA_DEBUG_DIRECTORY "/LEVEL_INFO",
    VEXORA_DEBUG_DIRECTORY "/LEVEL_WARNING",
    VEXORA_DEBUG_DIRECTORY "/LEVEL_ERROR",
    VEXORA_DEBUG_DIRECTORY "/LEVEL_CRITICAL",
};

enum Destination : int { kSerial, kLog, kBoth };
constexpr const char *kDestinationMarkers[] = {
    VEXORA_DEBUG_DIRECTORY "/PATH_SERIAL",
    VEXORA_DEBUG_DIRECTORY "/PATH_LOG",
    VEXORA_DEBUG_DIRECTORY "/PATH_BOTH",
};

inline constexpr std::string_view kSwitchPrefix = VEXORA_SWITCH_PREFIX;
inline constexpr std::size_t kModules = 16;       // further switches are ignored
inline constexpr std::size_t kModuleLength = 15;  // longer names are cut

inline constexpr int kMaxFrames = 100;  // of a crash report

}  // namespace vexora::diag
