// SPDX-License-Identifier: Apache-2.0
//
// The rings, against one record with a lock of their kind.

#include <pthread.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "table.h"
#include "vexora/containers.h"
#include "vexora/history.h"

namespace {

using vexora::bench::Aim;
using vexora::bench::Table;

constexpr Aim kBatchAim{.host = 1.1, .board = 1.1};
constexpr Aim kRingAim{.host = 1.2, .board = 1.2};
constexpr int kRingCalls = 2000;
constexpr int kBatchCalls = 20;
constexpr unsigned kYearRecords = 365 * 24;

using Bytes = std::vector<std::byte>;

struct FreeList {
  void operator()(vexora_ringlist *list) const { vexora_ringlist_free(list); }
};

struct FreeQueue {
  void operator()(vexora_ringq *queue) const { vexora_ringq_free(queue); }
};

using RingList = std::unique_ptr<vexora_ringlist, FreeList>;
using RingQueue = std::unique_ptr<vexora_ringq, FreeQueue>;

class LockedRecord {
 public:
  explicit LockedRecord(std::size_t size) : record_(size) {
    pthread_mutexattr_t recursive;
    pthread_mutexattr_init(&recursive);
    pthread_mutexattr_settype(&recursive, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&lock_, &recursive);
    pthread_mutexattr_destroy(&recursive);
  }
  LockedRecord(const LockedRecord &) = delete;
  LockedRecord &operator=(const LockedRecord &) = delete;
  ~LockedRecord() { pthread_mutex_destroy(&lock_); }

  bool store(const Bytes &from) { return copy(record_.data(), from.data()); }
  bool load(Bytes &to) { return copy(to.data(), record_.data()); }

 private:
  bool copy(std::byte *to, const std::byte *from) {
    if (pthread_mutex_trylock(&lock_) != 0) {
      return false;
    }
    std::memcpy(to, from, record_.size());
    return pthread_mutex_unlock(&lock_) == 0;
  }

  pthread_mutex_t lock_{};
  Bytes record_;
};

constexpr unsigned kSlots = 64;

void ringListPush(Table &table, unsigned size) {
  const RingList list(vexora_ringlist_init(size, kSlots));
  const Bytes record(size);
  LockedRecord floor(size);
  table.compare(
      "ring-list-push-" + std::to_string(size), kRingAim, kRingCalls,
      [&] { return vexora_ringlist_push(list.get(), record.data()) >= 0; }, [&] { return floor.store(record); });
}

void ringListRead(Table &table, unsigned size) {
  const RingList list(vexora_ringlist_init(size, kSlots));
  Bytes out(size);
  LockedRecord floor(size);
  table.compare(
      "ring-list-read-" + std::to_string(size), kRingAim, kRingCalls,
      [&] { return vexora_ringlist_get_tail(list.get(), out.data()) == 0; }, [&] { return floor.load(out); });
}

void ringQueuePushAndPoll(Table &table, unsigned size) {
  const RingQueue queue(vexora_ringq_init(size, kSlots));
  const Bytes record(size);
  Bytes out(size);
  LockedRecord floor(size);
  table.compare(
      "ring-queue-push-poll-" + std::to_string(size), kRingAim, kRingCalls,
      [&] {
        return vexora_ringq_push(queue.get(), record.data()) >= 0 && vexora_ringq_poll(queue.get(), out.data()) >= 0;
      },
      [&] { return floor.store(record) && floor.load(out); });
}

/// Reads from a full list of a year's records, the oldest in the middle of the storage.
void ringListBatch(Table &table, unsigned number) {
  constexpr unsigned kSize = sizeof(vexora_history_record);
  const RingList list(vexora_ringlist_init(kSize, kYearRecords));
  const Bytes record(kSize);
  for (unsigned i = 0; i < kYearRecords + kYearRecords / 2; ++i) {
    vexora_ringlist_push(list.get(), record.data());
  }
  Bytes out(std::size_t{number} * kSize);
  const auto *const slots = static_cast<const std::byte *>(list->storage);
  const bool wraps = number > kYearRecords - list->head;
  const std::byte *const sameBytes = slots + (wraps ? 0 : std::size_t{list->head} * kSize);
  table.compare(
      "ring-list-batch-" + std::to_string(number), kBatchAim, kBatchCalls,
      [&] { return vexora_ringlist_get_counts(list.get(), out.data(), 0, number) == static_cast<int>(number); },
      [&] {
        std::memcpy(out.data(), sameBytes, out.size());
        vexora::bench::touchMemory();
        return true;
      });
}

}  // namespace

int main(int argc, char **argv) {
  Table table(argc, argv);
  for (const unsigned size : {28U, 256U}) {
    ringListPush(table, size);
    ringListRead(table, size);
    ringQueuePushAndPoll(table, size);
  }
  ringListBatch(table, 1000);
  ringListBatch(table, kYearRecords);
  return table.status();
}
