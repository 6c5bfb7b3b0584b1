// SPDX-License-Identifier: Apache-2.0
//
// Each hot path of the library against its floor, in one table. Runs in the private root, where the library's fixed
// paths are fresh folders in memory: what is compared is the library's own work, not a medium's. The history recorder
// is steered by this program's clock and sensors, which take the place of the platform's.

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "table.h"
#include "vexora/containers.h"
#include "vexora/diag.h"
#include "vexora/history.h"
#include "vexora/ipc.h"

namespace {

using vexora::bench::Table;

using vexora::bench::Aim;

constexpr Aim kAim{.host = 1.1, .board = 1.1};
constexpr Aim kRingAim{.host = 1.2, .board = 1.2};

// Calls a round, so that a round takes tens of microseconds.
constexpr int kRingCalls = 2000;
constexpr int kDebugCalls = 200;
constexpr int kBatchCalls = 20;
constexpr int kFileCalls = 1;
constexpr int kMessageCalls = 50;

constexpr std::uint32_t kHourSeconds = 3600;
constexpr std::uint32_t kYearRecords = 365 * 24;
constexpr std::uint32_t kFirstRecord = 1'700'000'000 / kHourSeconds * kHourSeconds;

std::time_t clockNow = kFirstRecord;

int readSensor(int sensor, double *value, int) {
  *value = sensor == 0x3009 ? 20.6 : 312.0;
  return 0;
}

}  // namespace

extern "C" {

std::time_t time(std::time_t *out) noexcept {
  if (out != nullptr) {
    *out = clockNow;
  }
  return clockNow;
}

void *dlopen(const char *, int) noexcept { return &clockNow; }

void *dlsym(void *, const char *) noexcept { return reinterpret_cast<void *>(&readSensor); }

int dlclose(void *) noexcept { return 0; }
}

namespace {

struct FreeList {
  void operator()(vexora_ringlist *list) const { vexora_ringlist_free(list); }
};

struct FreeQueue {
  void operator()(vexora_ringq *queue) const { vexora_ringq_free(queue); }
};

using RingList = std::unique_ptr<vexora_ringlist, FreeList>;
using RingQueue = std::unique_ptr<vexora_ringq, FreeQueue>;
using Bytes = std::vector<std::byte>;

/// The floor of a ring: one record behind a lock of the rings' kind.
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

/// Reads from a full list of a year's records whose oldest one stands in the middle of the storage.
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
      "ring-list-batch-" + std::to_string(number), kAim, kBatchCalls,
      [&] { return vexora_ringlist_get_counts(list.get(), out.data(), 0, number) == static_cast<int>(number); },
      [&] {
        std::memcpy(out.data(), sameBytes, out.size());
        vexora::bench::touchMemory();
        return true;
      });
}

constexpr const char *kReloadMarker = "/var/vexora_debug_reload";
constexpr const char *kDebugFolder = "/conf/vexora_debug";
constexpr const char *kInfoMarker = "/conf/vexora_debug/LEVEL_INFO";

void touch(const char *path) {
  if (std::FILE *const file = std::fopen(path, "wb")) {
    static_cast<void>(std::fclose(file));
  }
}

void debugThatPrintsNothing(Table &table, const char *path) {
  touch(kReloadMarker);
  VexoraDebug(3, "IPMI", "settings read anew");
  static_cast<void>(std::remove(kReloadMarker));
  table.compare(
      path, kAim, kDebugCalls,
      [] {
        VexoraDebug(2, "IPMI", "sensor %d", 7);
        return true;
      },
      [] { return access(kReloadMarker, F_OK) != 0; });
}

void debugLevelOff(Table &table) {
  static_cast<void>(std::remove(kInfoMarker));
  debugThatPrintsNothing(table, "debug-level-off");
}

void debugModuleOff(Table &table) {
  static_cast<void>(mkdir(kDebugFolder, S_IRWXU));
  touch(kInfoMarker);
  touch("/conf/vexora_debug/PATH_SERIAL");
  touch("/conf/vexora_debug/ENABLE_SNMP");
  debugThatPrintsNothing(table, "debug-module-off");
}

constexpr const char *kFolder = "/extlog/syslog";
constexpr const char *kDataFile = "/extlog/syslog/history_data.dat";
constexpr std::size_t kImageSize = 245'300;

/// A full year of hourly records, the oldest in the middle of the slots.
Bytes yearImage() {
  constexpr std::uint32_t kHead = kYearRecords / 2;
  constexpr std::array<std::uint32_t, 5> kHeader = {kHead, kHead - 1, sizeof(vexora_history_record), kYearRecords,
                                                    kYearRecords};
  Bytes image(kImageSize);
  std::memcpy(image.data(), kHeader.data(), sizeof kHeader);
  for (std::uint32_t age = 0; age < kYearRecords; ++age) {
    vexora_history_record record{};
    record.time = record.query_time = kFirstRecord + age * kHourSeconds;
    const std::size_t slot = (kHead + age) % kYearRecords;
    std::memcpy(&image[sizeof kHeader + slot * sizeof record], &record, sizeof record);
  }
  return image;
}

bool writeAndRename(const Bytes &image, const char *temporary, const char *final) {
  std::FILE *const file = std::fopen(temporary, "wb");
  if (file == nullptr) {
    return false;
  }
  const bool written =
      std::fwrite(image.data(), image.size(), 1, file) == 1 && std::fflush(file) == 0 && fsync(fileno(file)) == 0;
  if (std::fclose(file) != 0 || !written || std::rename(temporary, final) != 0) {
    return false;
  }
  const int folder = open(kFolder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  return fsync(folder) == 0 && close(folder) == 0;
}

/// One call of the recorder an hour, each of which closes an hour and rewrites the file.
void historyRewrite(Table &table) {
  static_cast<void>(std::remove(kDataFile));
  if (historyDataInit() != 0) {
    table.fail("history-rewrite", "no history; is this the private root?");
    return;
  }
  const Bytes image(kImageSize);
  table.compare(
      "history-rewrite", kAim, kFileCalls,
      [] {
        clockNow += std::time_t{kHourSeconds};
        return historyDataRecord() == 0;
      },
      [&] { return writeAndRename(image, "/extlog/syslog/floor.tmp", "/extlog/syslog/floor.dat"); });
}

/// Reads a file into a block of its own.
bool readWhole(const char *path) {
  const std::unique_ptr<std::byte[]> block = std::make_unique_for_overwrite<std::byte[]>(kImageSize);
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  const bool whole = read(file, block.get(), kImageSize) == static_cast<ssize_t>(kImageSize);
  return close(file) == 0 && whole;
}

void historyQuery(Table &table, const char *span, std::uint32_t type, std::uint32_t firstHour, std::uint32_t hours) {
  if (!writeAndRename(yearImage(), "/extlog/syslog/year.tmp", kDataFile)) {
    table.fail("history-query", "no data file; is this the private root?");
    return;
  }
  // Half an hour before the first of them: a range that begins at a record's very second begins with the next one.
  const std::uint32_t start = kFirstRecord + firstHour * kHourSeconds - kHourSeconds / 2;
  Bytes out(hours * sizeof(vexora_history_record));
  table.compare(
      "history-query-" + std::string(span) + "-type-" + std::to_string(type), kAim, kFileCalls,
      [&] {
        std::uint32_t count = 0;
        return getHistoryData(out.data(), type, start, start + hours * kHourSeconds, &count) > 0 && count == hours;
      },
      [] { return readWhole(kDataFile); });
}

constexpr const char *kPipe = "/var/bench_pipe";
constexpr unsigned kPipeRecord = 260;

/// Writes a record by path into a pipe that a reader has open, and reads it back.
void pipeRecord(Table &table) {
  const int reader = vexora_create_pipe(kPipe) == 0 ? vexora_openpipe(kPipe) : -1;
  const Bytes record(kPipeRecord);
  Bytes out(kPipeRecord);
  const auto readBack = [&] { return read(reader, out.data(), out.size()) == static_cast<ssize_t>(out.size()); };
  table.compare(
      "pipe-record", kAim, kMessageCalls,
      [&] { return vexora_writepipe(kPipe, record.data(), kPipeRecord) == 0 && readBack(); },
      [&] {
        const int pipe = access(kPipe, F_OK) == 0 ? open(kPipe, O_RDWR) : -1;
        const bool written = write(pipe, record.data(), record.size()) == static_cast<ssize_t>(record.size());
        return close(pipe) == 0 && written && readBack();
      });
  static_cast<void>(close(reader));
}

constexpr int kQueueKey = 12347;

struct Message {
  long type;
  std::byte text[VEXORA_QUEUE_PAYLOAD_MAX];
};

/// A payload sent and received; `asksForQueue` lets the floor, too, ask for the queue by its key at every send.
void queueMessage(Table &table, const char *path, bool asksForQueue) {
  const int queue = VexoraCreateMsgQueue(kQueueKey);
  const Bytes payload(kPipeRecord);
  Bytes out(kPipeRecord);
  auto message = std::make_unique<Message>();
  table.compare(
      path, kAim, kMessageCalls,
      [&] {
        return VexoraWriteMsgQueue(kQueueKey, payload.data(), kPipeRecord) == 0 &&
               VexoraReadMsgQueue(queue, out.data(), kPipeRecord) == 0;
      },
      [&] {
        message->type = 1;
        const int found = asksForQueue ? msgget(kQueueKey, IPC_CREAT | 0666) : queue;
        return msgsnd(found, message.get(), kPipeRecord, IPC_NOWAIT) == 0 &&
               msgrcv(queue, message.get(), sizeof message->text, 0, 0) == static_cast<ssize_t>(kPipeRecord);
      });
}

}  // namespace

int main(int argc, char **argv) {
  // Locks are cheaper in a process without threads, which a daemon is not.
  std::binary_semaphore finished(0);
  std::thread companion([&] { finished.acquire(); });
  Table table(argc, argv);
  ringListPush(table, 28);
  ringListPush(table, 256);
  ringListRead(table, 28);
  ringListRead(table, 256);
  ringQueuePushAndPoll(table, 28);
  ringQueuePushAndPoll(table, 256);
  ringListBatch(table, 1000);
  ringListBatch(table, kYearRecords);
  debugLevelOff(table);
  debugModuleOff(table);
  historyRewrite(table);
  for (const std::uint32_t type : {0U, 1U, 4U}) {
    historyQuery(table, "day", type, 300 * 24, 24);
    historyQuery(table, "year", type, 0, kYearRecords);
  }
  pipeRecord(table);
  queueMessage(table, "queue-message", false);
  queueMessage(table, "queue-message-msgget", true);
  finished.release();
  companion.join();
  return table.status();
}
