// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "vexora/containers.h"

namespace vexora {

struct FreeRingList {
  void operator()(vexora_ringlist *list) const;
};

using RingList = std::unique_ptr<vexora_ringlist, FreeRingList>;

/// Makes a list as vexora_ringlist_init does.
RingList makeRingList(std::uint32_t itemSize, std::uint32_t capacity);

/// Returns the number of records without taking the lock: other threads may be pushing.
inline std::uint32_t recordCount(vexora_ringlist &list) {
  return std::atomic_ref<std::uint32_t>(list.count).load(std::memory_order_relaxed);
}

}  // namespace vexora
