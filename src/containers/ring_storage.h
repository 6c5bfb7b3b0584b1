// SPDX-License-Identifier: Apache-2.0
//
// Shared by ring list and ring queue: size limits, slot arithmetic without division, and copies of records that wrap at
// the end of the storage.
#pragma once

#include <pthread.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "diag/locks.h"

namespace vexora {

/// Attempts to take a ring's lock, 1 ms apart: about one minute.
inline constexpr int kRingLockTries = 60'000;

/// Returns whether a ring of these sizes is accepted. Slots are returned as signed numbers and the storage has to fit
/// into the target's 32-bit memory; the limits are the same on every machine.
constexpr bool ringSizesFit(std::uint32_t itemSize, std::uint32_t capacity, std::uint32_t spareSlots) {
  constexpr std::uint32_t kMaxSlots = std::numeric_limits<std::int32_t>::max();
  constexpr std::uint32_t kMaxBytes = std::numeric_limits<std::uint32_t>::max();
  return itemSize != 0 && capacity != 0 && capacity <= kMaxSlots && itemSize <= kMaxBytes / (capacity + spareSlots);
}

constexpr std::uint32_t nextSlot(std::uint32_t slot, std::uint32_t capacity) {
  return slot + 1 == capacity ? 0 : slot + 1;
}

/// Returns the slot `distance` places after `slot`; `distance` is at most the capacity.
constexpr std::uint32_t slotAfter(std::uint32_t slot, std::uint32_t distance, std::uint32_t capacity) {
  const std::uint32_t untilWrap = capacity - slot;
  return distance < untilWrap ? slot + distance : distance - untilWrap;
}

template <typename Ring>
std::byte *slotAddress(const Ring &ring, std::uint32_t slot) {
  return static_cast<std::byte *>(ring.storage) + std::size_t{slot} * ring.item_size;
}

template <typename Ring>
void storeRecord(Ring &ring, std::uint32_t slot, const void *record) {
  std::memcpy(slotAddress(ring, slot), record, ring.item_size);
}

template <typename Ring>
void loadRecord(const Ring &ring, std::uint32_t slot, void *out) {
  std::memcpy(out, slotAddress(ring, slot), ring.item_size);
}

/// Copies `number` records into the slots from `slot` on, and continues at slot 0 after the last one.
template <typename Ring>
void storeRun(Ring &ring, std::uint32_t slot, const void *records, std::uint32_t number) {
  const std::size_t first = std::size_t{std::min(number, ring.capacity - slot)} * ring.item_size;
  const auto *const from = static_cast<const std::byte *>(records);
  std::memcpy(slotAddress(ring, slot), from, first);
  std::memcpy(ring.storage, from + first, std::size_t{number} * ring.item_size - first);
}

/// Copies `number` records out of the slots from `slot` on, and continues at slot 0 after the last one.
template <typename Ring>
void loadRun(const Ring &ring, std::uint32_t slot, void *out, std::uint32_t number) {
  const std::size_t first = std::size_t{std::min(number, ring.capacity - slot)} * ring.item_size;
  auto *const to = static_cast<std::byte *>(out);
  std::memcpy(to, slotAddress(ring, slot), first);
  std::memcpy(to + first, ring.storage, std::size_t{number} * ring.item_size - first);
}

/// Runs `work` under the ring's lock; returns -1 when the lock could not be acquired.
template <typename Ring, typename Work>
int withRing(Ring &ring, Work work) {
  const LockHold hold(ring.lock, kRingLockTries);
  return hold ? work() : -1;
}

/// Returns whether a handle is usable at all.
template <typename Ring>
bool isUsable(const Ring *ring) {
  return ring != nullptr && ring->lock != nullptr;
}

}  // namespace vexora
