// SPDX-License-Identifier: Apache-2.0
//
// Sensor readings from the firmware's shared sensor memory. The firmware's library is loaded anew for each sample, so
// that an update of it takes effect without a restart.
#pragma once

#include <dlfcn.h>

#include <bit>
#include <optional>

#include "base/owners.h"

namespace vexora::history {

/// The firmware's sensor library, loaded for one sample.
class Sensors {
 public:
  Sensors() : library_(dlopen("/usr/local/lib/libipmipdk.so", RTLD_NOW)) {
    if (library_) {
      read_ = std::bit_cast<ReadSensor>(dlsym(library_.get(), "PDK_GetSensorRealValueFromSharedMem"));
    }
  }

  [[nodiscard]] bool isLoaded() const { return read_ != nullptr; }

  /// Reads a sensor; nothing when the library refuses.
  [[nodiscard]] std::optional<double> read(int sensor) const {
    constexpr int kReadOption = 1;  // the firmware's own callers always pass this
    double value = 0.0;
    return read_(sensor, &value, kReadOption) == 0 ? std::optional(value) : std::nullopt;
  }

 private:
  using ReadSensor = int (*)(int sensor, double *value, int);

  Library library_;
  ReadSensor read_ = nullptr;
};

}  // namespace vexora::history
