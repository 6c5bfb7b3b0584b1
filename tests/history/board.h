// SPDX-License-Identifier: Apache-2.0
//
// A board with two sensors and a clock, for the tests of the history recorder. Only one source file of a program may
// include it: it defines the sensors' function and the dlopen of the sensor library.
//
//   board.sampleAt(kNoon, 20.6, 4660);
//   EXPECT_EQ(newestRecord().sensor_3009.average, 21);
#pragma once

#include "history/query_model.h"
#include "support/test.h"

namespace vexora::test {

inline const std::string kDataFile = "/extlog/syslog/history_data.dat";
inline const std::string kTemporaryFile = "/extlog/syslog/tmp_history_data.dat";

// The newest record of the data file.
inline Record newestRecord() {
  Image image;
  std::memcpy(&image, read(kDataFile).data(), sizeof image);
  return image.slots[image.tail];
}

// The cache in the form of a data file: the ring's first five fields, and its storage.
inline std::string cacheBytes() {
  const std::string header(reinterpret_cast<const char *>(HistoryDataRing), 20);
  return header + std::string(static_cast<const char *>(HistoryDataRing->storage), kImageSize - 20);
}

// A message of the recorder, as the firmware receives it.
inline FirmwareMessage report(int level, const std::string &text) {
  return {level, "[libvexora_hisotry_data_interface:LINE]" + text};
}

// The two sensors, in place of the firmware's library.
struct Sensors {
  const char *library = nullptr;  // loaded instead, unless null
  double sensor3009 = 0;
  double sensor7000 = 0;
  int broken = 0;  // the number of a sensor that fails
};

inline Sensors sensors;

// A recorder's process at a fixed time. Collects its messages.
class Board {
 public:
  int sample() { return historyDataRecord(); }
  int sampleAt(std::time_t now, double sensor3009, double sensor7000) {
    clock.set(now);
    sensors.sensor3009 = sensor3009;
    sensors.sensor7000 = sensor7000;
    return sample();
  }

  FixedClock clock{kNoon};
  FirmwareLog log;
};

inline const std::vector<FirmwareMessage> kNoReports;
// The reports of a record that was not stored.
inline const FirmwareMessage kNotWritten = report(130, "WriteHistoryDataToDatFile Fail");
inline const FirmwareMessage kGivenUp = report(132, "AddHistoryData fail, will delete history data file");

}  // namespace vexora::test

// A test of one recorder, in an empty private root and its own process: the recorder's state between samples lasts as
// long as its process. An exception must not leave that process alive.
#define BOARD_TEST(suite, name)                        \
  static void suite##name(vexora::test::Board &board); \
  TEST(suite, name) {                                  \
    vexora::test::clearRoot();                         \
    vexora::test::inFreshProcess([]() noexcept {       \
      vexora::test::Board board;                       \
      suite##name(board);                              \
    });                                                \
  }                                                    \
  static void suite##name([[maybe_unused]] vexora::test::Board &board)

extern "C" {

__attribute__((used)) inline int PDK_GetSensorRealValueFromSharedMem(int sensor, double *value, int option) {
  using vexora::test::sensors;
  const vexora::test::InHarness own;
  const bool cleared = *value == 0;
  *value = sensor == 0x3009 ? sensors.sensor3009 : sensors.sensor7000;
  return !cleared || sensors.broken == sensor || option != 1 ? -1 : 0;
}

// A handle of this program makes dlsym find the function above.
__attribute__((used)) inline void *dlopen(const char *path, int mode) noexcept {
  using vexora::test::sensors;
  const vexora::test::InHarness own;
  const bool ours = path != nullptr && std::string_view(path) == "/usr/local/lib/libipmipdk.so" && mode == RTLD_NOW;
  return vexora::test::original(&dlopen, "dlopen")(ours ? sensors.library : path, mode);
}
}
