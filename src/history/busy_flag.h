// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include "vexora/history.h"

namespace vexora::history {

/// The exported busy flag, which several threads test and set. It is no lock, and it doesn't count: of two queries at
/// the same time, the first to end clears it for both. A sample or a clear may then replace or remove the file under
/// the other one, whose open stream still reads the old image, whole.
inline std::atomic_ref<uint8_t> busyFlag() { return std::atomic_ref<uint8_t>(getHistoryDataFlag); }

inline constexpr uint8_t kIdle = 0;
inline constexpr uint8_t kBusy = 1;

}  // namespace vexora::history
