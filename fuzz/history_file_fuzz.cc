// SPDX-License-Identifier: Apache-2.0
//
// History data files that nobody of ours wrote, through everything that reads them: either a query, or the recorder's
// start and the command. Runs in the private root, where the file is one in memory. What an execution costs is blocks
// of 245,280 bytes, fresh pages from the sanitizer each time, so one execution does not do all.
//
// An input describes a file rather than holding one, which would be 245,300 bytes of mostly the same. Little-endian,
// and zeros where it ends early:
//
//   offset  0  request length, modulo 17
//           1  request, 16 bytes; bytes 1 to 9 also are the arguments of the query
//          17  the file's header, 20 bytes
//          37  bit 0: the slots' times are an hour apart, in slot order, else all 0; bit 1: start and command, else
//          query 38  the file's size, 4 bytes; at most 100 bytes beyond a whole file 42  times of single records, to
//          the end: slot (2 bytes, modulo 8760), time (4 bytes)
//
// Each record's averages hold its slot, so that an answer tells which records it is made of.

#include <fcntl.h>
#include <sanitizer/asan_interface.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

#include "firmware/unix.h"
#include "vexora/history.h"

namespace {

constexpr std::uint32_t kCapacity = 8760;
constexpr std::size_t kRecordSize = 28;
constexpr std::size_t kHeaderSize = 20;
constexpr std::size_t kSlotsSize = 245'280;
constexpr std::size_t kFileSize = 245'300;
constexpr std::size_t kTrailingSize = 100;
constexpr std::uint32_t kHourSeconds = 3600;
constexpr std::uint32_t kFirstTime = 1'700'000'000;
constexpr const char *kDataFile = "/extlog/syslog/history_data.dat";

constexpr std::size_t kRequestRoom = 16;
constexpr std::size_t kAnswerHeader = 5;

void require(bool holds, const char *what) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
  }
}

std::uint32_t little32(const std::uint8_t *at) {
  return at[0] | std::uint32_t{at[1]} << 8 | std::uint32_t{at[2]} << 16 | std::uint32_t{at[3]} << 24;
}

struct Header {
  std::uint32_t head;
  std::uint32_t tail;
  std::uint32_t itemSize;
  std::uint32_t capacity;
  std::uint32_t count;

  bool operator==(const Header &) const = default;
};

constexpr Header kFreshHeader = {0, kCapacity - 1, kRecordSize, kCapacity, 0};

using Image = std::array<std::uint8_t, kFileSize + kTrailingSize>;

/// Slots whose records know their number.
Image makeImage(std::uint32_t firstTime, std::uint32_t secondsApart) {
  Image image{};
  for (std::uint32_t slot = 0; slot < kCapacity; ++slot) {
    vexora_history_record record{};
    record.sensor_7000.average = record.sensor_3009.average = static_cast<std::uint16_t>(slot);
    record.time = record.query_time = firstTime + slot * secondsApart;
    std::memcpy(&image[kHeaderSize + slot * kRecordSize], &record, sizeof record);
  }
  return image;
}

Image timeless = makeImage(0, 0);
Image hourly = makeImage(kFirstTime, kHourSeconds);
Image fresh = [] {
  Image image{};
  std::memcpy(image.data(), &kFreshHeader, sizeof kFreshHeader);
  return image;
}();

/// The data file as it has to be.
struct File {
  Image *image = &fresh;
  std::size_t size = kFileSize;

  [[nodiscard]] Header header() const {
    Header header{};
    std::memcpy(&header, image->data(), sizeof header);
    return header;
  }

  /// Whether the library has to accept it.
  [[nodiscard]] bool isOurs() const {
    const Header h = header();
    return size >= kFileSize && h.head < kCapacity && h.tail < kCapacity && h.itemSize == kRecordSize &&
           h.capacity == kCapacity && h.count <= kCapacity;
  }

  [[nodiscard]] std::uint8_t *slot(std::size_t number) const {
    return &(*image)[kHeaderSize + number % kCapacity * kRecordSize];
  }

  [[nodiscard]] std::uint32_t timeOf(std::size_t number) const { return little32(slot(number) + 24); }

  void put() const {
    const int fd = open(kDataFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
    require(write(fd, image->data(), size) == static_cast<ssize_t>(size), "the data file can be made");
    close(fd);
  }

  [[nodiscard]] bool isThere() const {
    static Image found;
    const int fd = open(kDataFile, O_RDONLY | O_CLOEXEC);
    const ssize_t length = read(fd, found.data(), found.size());
    close(fd);
    return length == static_cast<ssize_t>(size) && std::memcmp(found.data(), image->data(), size) == 0;
  }
};

File file;

}  // namespace

// Reports of bad files, of which there are thousands a second.
extern "C" void XDBG_LINUXAPP_DbgOut(int, const char *, ...) {}

namespace {

/// Reads an input's fields; zeros behind its end.
class Input {
 public:
  explicit Input(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

  [[nodiscard]] bool isEmpty() const { return rest_.empty(); }

  template <std::size_t Size>
  std::array<std::uint8_t, Size> take() {
    std::array<std::uint8_t, Size> field{};
    const std::size_t taken = std::min(Size, rest_.size());
    std::copy_n(rest_.begin(), taken, field.begin());
    rest_ = rest_.subspan(taken);
    return field;
  }

 private:
  std::span<const std::uint8_t> rest_;
};

/// Changes single records' times for as long as it lives.
class ChangedTimes {
 public:
  explicit ChangedTimes(Input &input) {
    while (!input.isEmpty() && used_ < changes_.size()) {
      const auto where = input.take<2>();
      const auto time = input.take<4>();
      std::uint8_t *const at = file.slot(where[0] | std::size_t{where[1]} << 8) + 20;
      Change &change = changes_[used_++];
      change.at = at;
      std::copy_n(at, change.before.size(), change.before.begin());
      std::copy_n(time.begin(), time.size(), at);
      std::copy_n(time.begin(), time.size(), at + time.size());
    }
  }
  ChangedTimes(const ChangedTimes &) = delete;
  ChangedTimes &operator=(const ChangedTimes &) = delete;
  ~ChangedTimes() {
    while (used_ > 0) {
      const Change &change = changes_[--used_];
      std::copy_n(change.before.begin(), change.before.size(), change.at);
    }
  }

 private:
  struct Change {
    std::uint8_t *at = nullptr;
    std::array<std::uint8_t, 8> before{};
  };

  std::array<Change, 1024> changes_{};
  std::size_t used_ = 0;
};

struct Query {
  std::uint32_t type;
  std::uint32_t start;
  std::uint32_t end;

  [[nodiscard]] std::size_t entrySize() const { return type == 4 ? 28 : 22; }
  [[nodiscard]] bool isValid() const { return end > start && (type == 0 || type == 1 || type == 4); }
};

/// Room for the entries that a file can give and not a byte more; the rest is out of bounds.
class Room {
 public:
  explicit Room(std::size_t size) : size_(size) { ASAN_POISON_MEMORY_REGION(bytes() + size_, kMost - size_); }
  Room(const Room &) = delete;
  Room &operator=(const Room &) = delete;
  ~Room() { ASAN_UNPOISON_MEMORY_REGION(bytes(), kMost); }

  static std::uint8_t *bytes() { return storage.data(); }

 private:
  static constexpr std::size_t kMost = kAnswerHeader + kSlotsSize + 3;  // a multiple of 8, as the poison is
  alignas(8) static inline std::array<std::uint8_t, kMost> storage{};

  std::size_t size_;
};

std::size_t roomFor(const Query &query) {
  return file.isOurs() && query.isValid() ? file.header().count * query.entrySize() : 0;
}

bool isEntryOf(const std::uint8_t *entry, const std::uint8_t *record, const Query &query) {
  if (query.type == 4) {
    return std::memcmp(entry, record, kRecordSize) == 0;
  }
  const std::uint8_t *const statistics = query.type == 0 ? record + 6 : record;
  return std::memcmp(entry, statistics, 6) == 0 && std::memcmp(entry + 6, record + 12, 16) == 0;
}

/// The entries have to be the file's records one after the other, all before the end, and the last one's successor
/// must be what stopped them.
void checkEntries(const Query &query, std::size_t number, const std::uint8_t *entries) {
  const Header header = file.header();
  const std::size_t firstSlot = entries[0] | std::size_t{entries[1]} << 8;
  const std::size_t position = (firstSlot + kCapacity - header.head) % kCapacity;
  require(position + number <= header.count, "the entries are records that the file counts");
  for (std::size_t i = 0; i < number; ++i) {
    require(isEntryOf(entries + i * query.entrySize(), file.slot(firstSlot + i), query), "an entry is its record");
    require(file.timeOf(firstSlot + i) < query.end, "an entry is from before the end");
  }
  require(position + number == header.count || file.timeOf(firstSlot + number) >= query.end, "no record is left out");
}

/// What a query may answer to the file. `countBefore` is what its caller's count was.
void checkAnswer(const Query &query, int result, std::uint32_t countBefore, std::uint32_t count,
                 const std::uint8_t *entries) {
  if (!file.isOurs() || !query.isValid()) {
    require(result == -1 && count == countBefore, "a refused query leaves its count alone");
    return;
  }
  const Header header = file.header();
  if (query.start > file.timeOf(header.tail) || query.end < file.timeOf(header.head)) {
    require(result == 0 && count == 0, "a range outside the records has none");
    return;
  }
  if (result == -1) {
    require(header.count == 0 && count == countBefore, "only a file without records has no first one");
    return;
  }
  const std::size_t number = count - countBefore;
  require(number <= header.count, "no more entries than records");
  require(static_cast<std::size_t>(result) == number * query.entrySize(), "the entries' bytes");
  if (number > 0) {
    checkEntries(query, number, entries);
  }
}

void queryFile(const Query &query) {
  constexpr std::uint32_t kCountBefore = 7;
  const Room room(roomFor(query));
  std::uint32_t count = kCountBefore;
  const int result = getHistoryData(Room::bytes(), query.type, query.start, query.end, &count);
  checkAnswer(query, result, kCountBefore, count, Room::bytes());
}

void startRecorder() {
  const bool wasOurs = file.isOurs();
  RecTmpData.last_record_hour = 24;
  require(historyDataInit() == 0, "a bad file is no error");
  if (!wasOurs) {
    file = {};
  }
  require(file.isThere(), "a bad file is replaced by an empty one, and no other");
  Header header{};
  std::memcpy(&header, HistoryDataRing, sizeof header);
  require(header == file.header(), "the cache has the file's header");
  require(std::memcmp(HistoryDataRing->storage, file.slot(0), kSlotsSize) == 0, "the cache has the file's slots");
  require(RecTmpData.last_record_hour == 0, "no hour is in progress");
}

std::uint8_t expectedCode(std::span<const std::uint8_t> request) {
  if (request.empty()) {
    return 0xC7;
  }
  if (request[0] > 2) {
    return 0xC9;
  }
  return request.size() == (request[0] == 1 ? 10U : 1U) ? 0x00 : 0xC7;
}

/// Gives the command a request of exactly its length.
int command(std::span<const std::uint8_t> request) {
  alignas(8) std::array<std::uint8_t, kRequestRoom> bytes{};
  std::copy(request.begin(), request.end(), bytes.begin());
  ASAN_POISON_MEMORY_REGION(bytes.data() + request.size(), bytes.size() - request.size());
  const int length =
      VexoraHistoryRecordDataOper(bytes.data(), static_cast<std::uint32_t>(request.size()), Room::bytes());
  ASAN_UNPOISON_MEMORY_REGION(bytes.data(), bytes.size());
  return length;
}

void runCommand(std::span<const std::uint8_t> request, const Query &query) {
  const std::uint32_t records = file.header().count;
  const std::uint8_t expected = expectedCode(request);
  const bool isQuery = expected == 0x00 && request[0] == 1;
  const Room room(isQuery ? kAnswerHeader + roomFor(query) : kAnswerHeader);
  const int length = command(request);
  const std::uint8_t *const answer = Room::bytes();
  if (isQuery && answer[0] == 0xCC) {
    require(length == 1, "a failed query answers with its code alone");
    checkAnswer(query, -1, 0, 0, nullptr);
    return;
  }
  require(answer[0] == expected, "the completion code");
  if (isQuery) {
    checkAnswer(query, length - static_cast<int>(kAnswerHeader), 0, little32(answer + 1), answer + kAnswerHeader);
  } else if (expected == 0x00 && request[0] == 0) {
    require(length == kAnswerHeader && little32(answer + 1) == records, "the number of records");
  } else {
    require(length == 1, "an answer of its code alone");
    require((access(kDataFile, F_OK) == 0) == (expected != 0x00), "a clear removes the file, and nothing else does");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  Input input({data, size});
  const std::size_t requestLength = input.take<1>()[0] % (kRequestRoom + 1);
  const auto request = input.take<kRequestRoom>();
  const auto header = input.take<kHeaderSize>();
  const std::uint8_t choices = input.take<1>()[0];
  file.image = (choices & 1) == 0 ? &timeless : &hourly;
  file.size = std::min<std::size_t>(little32(input.take<4>().data()), kFileSize + kTrailingSize);
  std::copy(header.begin(), header.end(), file.image->begin());
  const ChangedTimes changedTimes(input);
  file.put();

  const Query query = {request[1], little32(&request[2]), little32(&request[6])};
  if ((choices & 2) == 0) {
    queryFile(query);
  } else {
    startRecorder();
    runCommand(std::span(request).first(requestLength), query);
  }
  return 0;
}
