// SPDX-License-Identifier: Apache-2.0
//
// Sensor readings from the firmware's shared sensor memory. The firmware's library is loaded anew for each sample, so
// that an update of it takes effect without a restart.

#include "history/sensors.h"

#include <dlfcn.h>

#include <bit>

namespace vexora::history {

namespace {

constexpr const char *kLibrary = "/usr/local/lib/libipmipdk.so";
constexpr const char *kFunction = "PDK_GetSensorRealValueFromSharedMem";
// The firmware's own callers always pass this.
constexpr int kReadOption = 1;

}  // namespace

Sensors::Sensors() : library_(dlopen(kLibrary, RTLD_NOW)) {
  if (library_) {
    read_ = std::bit_cast<ReadSensor>(dlsym(library_.get(), kFunction));
  }
}

std::optional<double> Sensors::read(int sensor) const {
  double value = 0.0;
  if (read_(sensor, &value, kReadOption) != 0) {
    return std::nullopt;
  }
  return value;
}

}  // namespace vexora::history
