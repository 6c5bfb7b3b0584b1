// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "base/owners.h"

namespace vexora::history {

/// The firmware's sensor library, loaded for one sample.
class Sensors {
 public:
  /// Loads the library and finds its reading function.
  Sensors();

  [[nodiscard]] bool isLoaded() const { return read_ != nullptr; }

  /// Reads a sensor; nothing when the library refuses.
  [[nodiscard]] std::optional<double> read(int sensor) const;

 private:
  using ReadSensor = int (*)(int sensor, double *value, int);

  Library library_;
  ReadSensor read_ = nullptr;
};

}  // namespace vexora::history
