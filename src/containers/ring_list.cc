// SPDX-License-Identifier: Apache-2.0
//
// The ring list: a push into a full list overwrites the oldest record. While the list is not full, head is 0 and tail
// is count - 1 modulo capacity; once full, head is the slot after tail. The fields are also the header of the history
// data file, which may restore a list with any head and tail below the capacity: the copies below work for those, too.
//
// count is read outside the lock, by the argument checks and by callers, so every access to it is atomic. A request
// that passed the check stays in bounds even if another thread empties the list before we get the lock.

#include "containers/ring_list.h"

#include <cstdlib>
#include <cstring>

#include "base/owners.h"
#include "containers/ring_storage.h"
#include "diag/locks.h"

namespace {

void setCount(vexora_ringlist &list, std::uint32_t count) {
  std::atomic_ref<std::uint32_t>(list.count).store(count, std::memory_order_relaxed);
}

void setEmpty(vexora_ringlist &list) {
  list.head = 0;
  list.tail = list.capacity - 1;
  setCount(list, 0);
}

}  // namespace

namespace vexora {

void FreeRingList::operator()(vexora_ringlist *list) const { static_cast<void>(vexora_ringlist_free(list)); }

RingList makeRingList(std::uint32_t itemSize, std::uint32_t capacity) {
  if (!ringSizesFit(itemSize, capacity, 0)) {
    return nullptr;
  }
  HeapBlock<vexora_ringlist> list(static_cast<vexora_ringlist *>(std::calloc(1, sizeof(vexora_ringlist))));
  Lock lock(list ? makeLock() : nullptr);
  HeapBlock<void> storage(lock ? std::calloc(capacity, itemSize) : nullptr);
  if (!storage) {
    return nullptr;
  }
  list->item_size = itemSize;
  list->capacity = capacity;
  setEmpty(*list);
  list->lock = lock.release();
  list->storage = storage.release();
  return RingList(list.release());
}

}  // namespace vexora

using vexora::isUsable;
using vexora::withRing;

vexora_ringlist *vexora_ringlist_init(unsigned item_size, unsigned capacity) {
  return vexora::makeRingList(item_size, capacity).release();
}

int vexora_ringlist_free(vexora_ringlist *list) {
  if (list == nullptr) {
    return 0;
  }
  if (list->capacity != 0) {
    std::free(list->storage);
  }
  static_cast<void>(vexora::destroyLock(list->lock));
  std::free(list);
  return 0;
}

int vexora_ringlist_push(vexora_ringlist *list, const void *record) {
  if (!isUsable(list) || record == nullptr) {
    return -1;
  }
  return withRing(*list, [&] {
    list->tail = vexora::nextSlot(list->tail, list->capacity);
    vexora::storeRecord(*list, list->tail, record);
    if (list->count < list->capacity) {
      setCount(*list, list->count + 1);
    }
    if (list->count == list->capacity) {
      list->head = vexora::nextSlot(list->tail, list->capacity);
    }
    return static_cast<int>(list->tail);
  });
}

int vexora_ringlist_get_head(vexora_ringlist *list, void *out) {
  if (!isUsable(list) || out == nullptr) {
    return -1;
  }
  return withRing(*list, [&] {
    vexora::loadRecord(*list, list->head, out);
    return 0;
  });
}

int vexora_ringlist_get_tail(vexora_ringlist *list, void *out) {
  if (!isUsable(list) || out == nullptr) {
    return -1;
  }
  return withRing(*list, [&] {
    vexora::loadRecord(*list, list->tail, out);
    return 0;
  });
}

int vexora_ringlist_get_counts(vexora_ringlist *list, void *out, unsigned offset, unsigned number) {
  if (!isUsable(list) || out == nullptr) {
    return -1;
  }
  const std::uint32_t count = vexora::recordCount(*list);
  if (number == 0 || number > count || offset > count - number) {
    return -1;
  }
  return withRing(*list, [&] {
    const std::uint32_t start = vexora::slotAfter(list->head, offset, list->capacity);
    vexora::loadRun(*list, start, out, number);
    return static_cast<int>(number);
  });
}

int vexora_ringlist_modify_item(vexora_ringlist *list, const void *record, int index) {
  if (!isUsable(list) || record == nullptr) {
    return -1;
  }
  const auto age = static_cast<std::uint32_t>(index);  // a negative index becomes larger than any count
  if (age >= vexora::recordCount(*list)) {
    return -1;
  }
  return withRing(*list, [&] {
    vexora::storeRecord(*list, vexora::slotAfter(list->head, age, list->capacity), record);
    return 0;
  });
}

int vexora_ringlist_flush(vexora_ringlist *list) {
  if (!isUsable(list)) {
    return -1;
  }
  return withRing(*list, [&] {
    setEmpty(*list);
    std::memset(list->storage, 0, std::size_t{list->capacity} * list->item_size);
    return 0;
  });
}
