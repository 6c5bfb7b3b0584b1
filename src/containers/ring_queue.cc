// SPDX-License-Identifier: Apache-2.0
//
// The ring queue: first in, first out; a full queue refuses. It is empty when head equals tail and full when the slot
// after tail is head, so one slot stays free. Each check and the change that depends on it run under one hold of the
// lock.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "base/owners.h"
#include "containers/ring_storage.h"
#include "diag/locks.h"
#include "vexora/containers.h"

namespace {

constexpr std::uint32_t kSpareSlots = 1;

bool isFull(const vexora_ringq &queue) { return vexora::nextSlot(queue.tail, queue.capacity) == queue.head; }

bool isEmpty(const vexora_ringq &queue) { return queue.head == queue.tail; }

std::uint32_t recordsHeld(const vexora_ringq &queue) {
  return queue.tail >= queue.head ? queue.tail - queue.head : queue.tail + (queue.capacity - queue.head);
}

std::uint32_t freePlaces(const vexora_ringq &queue) { return queue.capacity - 1 - recordsHeld(queue); }

}  // namespace

using vexora::isUsable;
using vexora::withRing;

vexora_ringq *vexora_ringq_init(unsigned item_size, unsigned capacity) {
  if (!vexora::ringSizesFit(item_size, capacity, kSpareSlots)) {
    return nullptr;
  }
  vexora::HeapBlock<vexora_ringq> queue(static_cast<vexora_ringq *>(std::calloc(1, sizeof(vexora_ringq))));
  vexora::Lock lock(queue ? vexora::makeLock() : nullptr);
  vexora::HeapBlock<void> storage(lock ? std::calloc(std::size_t{capacity} + kSpareSlots, item_size) : nullptr);
  if (!storage) {
    return nullptr;
  }
  queue->item_size = item_size;
  queue->capacity = capacity;
  queue->lock = lock.release();
  queue->storage = storage.release();
  return queue.release();
}

int vexora_ringq_free(vexora_ringq *queue) {
  if (queue == nullptr) {
    return 0;
  }
  if (queue->capacity != 0) {
    std::free(queue->storage);
  }
  static_cast<void>(vexora::destroyLock(queue->lock));
  std::free(queue);
  return 0;
}

int vexora_ringq_push(vexora_ringq *queue, const void *record) {
  if (!isUsable(queue) || record == nullptr) {
    return -1;
  }
  return withRing(*queue, [&] {
    if (isFull(*queue)) {
      return -1;
    }
    vexora::storeRecord(*queue, queue->tail, record);
    queue->tail = vexora::nextSlot(queue->tail, queue->capacity);
    return static_cast<int>(queue->tail);
  });
}

int vexora_ringq_push_head(vexora_ringq *queue, const void *record) {
  if (!isUsable(queue) || record == nullptr) {
    return -1;
  }
  return withRing(*queue, [&] {
    if (isFull(*queue)) {
      return -1;
    }
    queue->head = queue->head == 0 ? queue->capacity - 1 : queue->head - 1;
    vexora::storeRecord(*queue, queue->head, record);
    return static_cast<int>(queue->head);
  });
}

int vexora_ringq_push_counts(vexora_ringq *queue, const void *records, int number) {
  if (!isUsable(queue) || records == nullptr || number < 0) {
    return -1;
  }
  return withRing(*queue, [&] {
    const auto wanted = static_cast<std::uint32_t>(number);
    if (isFull(*queue) || wanted > freePlaces(*queue)) {
      return -1;
    }
    vexora::storeRun(*queue, queue->tail, records, wanted);
    queue->tail = vexora::slotAfter(queue->tail, wanted, queue->capacity);
    return number;
  });
}

int vexora_ringq_poll(vexora_ringq *queue, void *out) {
  if (!isUsable(queue) || out == nullptr) {
    return -1;
  }
  return withRing(*queue, [&] {
    if (isEmpty(*queue)) {
      return -1;
    }
    vexora::loadRecord(*queue, queue->head, out);
    queue->head = vexora::nextSlot(queue->head, queue->capacity);
    return static_cast<int>(queue->head);
  });
}

int vexora_ringq_poll_counts(vexora_ringq *queue, void *out, int number) {
  if (!isUsable(queue) || out == nullptr || number < 0) {
    return -1;
  }
  return withRing(*queue, [&] {
    if (isEmpty(*queue)) {
      return -1;
    }
    const std::uint32_t taken = std::min(static_cast<std::uint32_t>(number), recordsHeld(*queue));
    vexora::loadRun(*queue, queue->head, out, taken);
    queue->head = vexora::slotAfter(queue->head, taken, queue->capacity);
    return static_cast<int>(taken);
  });
}

int vexora_ringq_head(vexora_ringq *queue, void *out) {
  if (!isUsable(queue) || out == nullptr) {
    return -1;
  }
  return withRing(*queue, [&] {
    if (isEmpty(*queue)) {
      return -1;
    }
    vexora::loadRecord(*queue, queue->head, out);
    return static_cast<int>(queue->head);
  });
}

void vexora_ringq_flush(vexora_ringq *queue) {
  if (!isUsable(queue)) {
    return;
  }
  static_cast<void>(withRing(*queue, [&] {
    queue->head = 0;
    queue->tail = 0;
    std::memset(queue->storage, 0, std::size_t{queue->capacity} * queue->item_size);
    return 0;
  }));
}
