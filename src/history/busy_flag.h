// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include "vexora/history.h"

namespace vexora::history {

/// The exported busy flag, which several threads test and set. It is no lock: a query sets it while
/// another one has it set, too.
inline std::atomic_ref<uint8_t> busyFlag() { return std::atomic_ref<uint8_t>(getHistoryDataFlag); }

inline constexpr uint8_t kIdle = 0;
inline constexpr uint8_t kBusy = 1;

}  // namespace vexora::history
