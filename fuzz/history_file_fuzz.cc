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

#include <unistd.h>

#include <array>
#include <span>
#include <tuple>

#include "../tests/history/query_model.h"
#include "target.h"

// Reports of bad files, of which there are thousands a second.
extern "C" void XDBG_LINUXAPP_DbgOut(int, const char *, ...) {}

namespace {

using vexora::test::Image;
using vexora::test::kImageSize;
using vexora::test::kSlots;
using vexora::test::Query;
using vexora::test::reference;

constexpr const char *kDataFile = "/extlog/syslog/history_data.dat";
constexpr std::size_t kTrailingSize = 100;
constexpr std::size_t kRequestRoom = 16;

/// Slots whose records know their number.
Image makeImage(std::uint32_t firstTime, std::uint32_t secondsApart) {
  Image image;
  for (std::uint32_t slot = 0; slot < kSlots; ++slot) {
    vexora_history_record &record = image.slots[slot];
    record.sensor_7000.average = record.sensor_3009.average = static_cast<std::uint16_t>(slot);
    record.time = record.query_time = firstTime + slot * secondsApart;
  }
  return image;
}

const Image kTimeless = makeImage(0, 0);
const Image kHourly = makeImage(1'700'000'000, 3600);
const Image kFresh;
const std::string kFreshFile = kFresh.bytes();

/// Whether the library has to accept a file of this size with the image.
bool isOurs(const Image &image, std::size_t size) {
  return size >= kImageSize && image.head < kSlots && image.tail < kSlots && image.itemSize == 28 &&
         image.capacity == kSlots && image.count <= kSlots;
}

/// Reads an input's fields; zeros behind its end.
class Input {
 public:
  explicit Input(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

  [[nodiscard]] bool isEmpty() const { return rest_.empty(); }

  template <typename Field>
  Field take() {
    Field field{};
    const std::size_t taken = std::min(sizeof field, rest_.size());
    std::memcpy(&field, rest_.data(), taken);
    rest_ = rest_.subspan(taken);
    return field;
  }

 private:
  std::span<const std::uint8_t> rest_;
};

/// Answers stand in blocks of their size, so that a byte beyond them ends the run.
void queryFile(const Query &query, const vexora::test::QueryAnswer &expected) {
  std::vector<char> room(expected.entries.size());
  vexora::test::QueryAnswer answer;
  answer.result = getHistoryData(room.data() == nullptr ? &answer.entries : static_cast<void *>(room.data()),
                                 query.type, query.start, query.end, &answer.count);
  answer.entries.assign(room.begin(), room.end());
  require(answer == expected, "an answer has the file's records of the range");
}

/// What the recorder has in its file after a start.
const std::string &fileNow() {
  static std::string bytes;
  bytes.resize(kImageSize + kTrailingSize);
  const int fd = open(kDataFile, O_RDONLY | O_CLOEXEC);
  bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(read(fd, bytes.data(), bytes.size()), 0)));
  close(fd);
  return bytes;
}

void startRecorder(const std::string &expected) {
  RecTmpData.last_record_hour = 24;
  require(historyDataInit() == 0, "a bad file is no error");
  require(fileNow() == expected, "a bad file is replaced by an empty one, and no other");
  require(std::memcmp(HistoryDataRing, expected.data(), 20) == 0, "the cache has the file's header");
  require(std::memcmp(HistoryDataRing->storage, &expected[20], kImageSize - 20) == 0, "the cache has the file's slots");
  require(RecTmpData.last_record_hour == 0, "no hour is in progress");
}

std::string numbered(std::uint32_t number) {
  std::string bytes(5, '\0');
  std::memcpy(&bytes[1], &number, sizeof number);
  return bytes;
}

std::string expectedAnswer(const std::string &request, const Query &query, const Image &image) {
  const auto operation = static_cast<unsigned char>(request[0]);
  if (!request.empty() && operation > 2) {
    return "\xC9";
  }
  if (request.size() != (operation == 1 ? 10U : 1U)) {
    return "\xC7";
  }
  if (operation == 1) {
    const auto found = reference(image, query, 0);
    return found.result == -1 ? "\xCC" : numbered(found.count) + found.entries;
  }
  return operation == 0 ? numbered(image.count) : std::string(1, '\0');
}

void runCommand(const std::string &request, const std::string &expected) {
  const std::vector<std::uint8_t> exact(request.begin(), request.end());
  std::vector<std::uint8_t> answer(expected.size());
  std::uint8_t nothing = 0;
  const int length = VexoraHistoryRecordDataOper(exact.empty() ? &nothing : exact.data(),
                                                 static_cast<std::uint32_t>(exact.size()), answer.data());
  require(length == static_cast<int>(answer.size()), "the answer's length");
  require(std::equal(answer.begin(), answer.end(), expected.begin(),
                     [](std::uint8_t is, char should) { return is == static_cast<std::uint8_t>(should); }),
          "the answer");
  const bool clears = request == "\2";
  require((access(kDataFile, F_OK) == 0) != clears, "a clear removes the file, and nothing else does");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static Image image;
  static std::string file;
  Input input({data, size});
  const std::size_t requestLength = input.take<std::uint8_t>() % (kRequestRoom + 1);
  const auto request = input.take<std::array<char, kRequestRoom>>();
  const auto header = input.take<std::array<std::uint32_t, 5>>();
  const auto choices = input.take<std::uint8_t>();
  const std::size_t fileSize = std::min<std::size_t>(input.take<std::uint32_t>(), kImageSize + kTrailingSize);
  image = (choices & 1) == 0 ? kTimeless : kHourly;
  std::tie(image.head, image.tail, image.itemSize, image.capacity, image.count) = std::tuple_cat(header);
  while (!input.isEmpty()) {
    vexora_history_record &record = image.slots[input.take<std::uint16_t>() % kSlots];
    record.time = record.query_time = input.take<std::uint32_t>();
  }
  file.assign(kImageSize + kTrailingSize, '\0');
  std::memcpy(&file[0], &header, sizeof header);
  std::memcpy(&file[sizeof header], image.slots.data(), kImageSize - sizeof header);
  file.resize(fileSize);
  putFile(kDataFile, file.data(), file.size());
  Query query{static_cast<std::uint8_t>(request[1]), 0, 0};
  std::memcpy(&query.start, &request[2], sizeof query.start);
  std::memcpy(&query.end, &request[6], sizeof query.end);
  const bool ours = isOurs(image, fileSize);
  if ((choices & 2) == 0) {
    queryFile(query, ours ? reference(image, query) : vexora::test::QueryAnswer{});
    return 0;
  }
  const Image &used = ours ? image : kFresh;
  startRecorder(ours ? file : kFreshFile);
  const std::string command(request.data(), requestLength);
  runCommand(command, expectedAnswer(command, query, used));
  return 0;
}
