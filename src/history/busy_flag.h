// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include "vexora/history.h"

namespace vexora::history {

/// The exported busy flag, which several threads test and set. Hazard: it is no lock and does not count. Of two queries
/// at the same time, the first to end clears it for both. A sample or a clear may then replace or remove the file while
/// the other query reads; its open stream still reads the whole old image.
inline std::atomic_ref<uint8_t> busyFlag() { return std::atomic_ref<uint8_t>(getHistoryDataFlag); }

inline constexpr uint8_t kIdle = 0;
inline constexpr uint8_t kBusy = 1;

}  // namespace vexora::history
