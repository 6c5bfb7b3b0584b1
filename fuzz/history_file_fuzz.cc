// SPDX-License-Identifier: Apache-2.0
//
// History data files that nobody of ours wrote, through everything that reads them: either a query, or the recorder's
// start and the command. Runs in the private root, where the file is one in memory. What an execution costs is blocks
// of 245,280 bytes, fresh pages from the sanitizer each time, so one execution does not do all.
//
// An input describes a file rather than holding one, which would be 245,300 bytes of mostly the same: a Description,
// then times of single records. It is zeros where it ends early.
//
// Each record's averages hold its slot, so that an answer tells which records it is made of.

#include <unistd.h>

#include "../tests/history/query_model.h"
#include "target.h"

// Reports of bad files, of which there are thousands a second.
extern "C" void XDBG_LINUXAPP_DbgOut(int, const char *, ...) {}

namespace {

using namespace vexora::test;

constexpr const char *kDataFile = "/extlog/syslog/history_data.dat";
constexpr std::size_t kTrailingSize = 100;

/// The request is `requestLength`, modulo 17, bytes from `operation` on; the query has its arguments.
struct [[gnu::packed]] Description {
  std::uint8_t requestLength;
  char operation;
  std::uint8_t type;
  std::uint32_t start;
  std::uint32_t end;
  char more[6];
  std::uint32_t head;  // what the file's header says
  std::uint32_t tail;
  std::uint32_t itemSize;
  std::uint32_t capacity;
  std::uint32_t count;
  std::uint8_t choices;  // bit 0: times an hour apart, in slot order, else all 0; bit 1: start and command, else query
  std::uint32_t fileSize;  // at most kTrailingSize beyond a whole file
};

struct [[gnu::packed]] SingleTime {
  std::uint16_t slot;  // modulo 8760
  std::uint32_t time;
};

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

/// Answers stand in blocks of their size, so that a byte beyond them ends the run.
void queryFile(const Query &query, const QueryAnswer &expected) {
  std::vector<char> room(expected.entries.size());
  QueryAnswer answer;
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
  Description input{};
  std::memcpy(&input, data, std::min(size, sizeof input));
  const std::size_t fileSize = std::min<std::size_t>(input.fileSize, kImageSize + kTrailingSize);
  image = {input.head,     input.tail,  input.itemSize,
           input.capacity, input.count, (input.choices & 1) == 0 ? kTimeless.slots : kHourly.slots};
  for (std::size_t at = sizeof input; at < size; at += sizeof(SingleTime)) {
    SingleTime single{};
    std::memcpy(&single, data + at, std::min(size - at, sizeof single));
    vexora_history_record &record = image.slots[single.slot % kSlots];
    record.time = record.query_time = single.time;
  }
  file = image.bytes();
  file.resize(kImageSize + kTrailingSize);
  file.resize(fileSize);
  putFile(kDataFile, file.data(), file.size());
  const Query query{input.type, input.start, input.end};
  const bool ours = isOurs(image, fileSize);
  if ((input.choices & 2) == 0) {
    queryFile(query, ours ? reference(image, query) : QueryAnswer{});
    return 0;
  }
  startRecorder(ours ? file : kFreshFile);
  const std::string command(reinterpret_cast<const char *>(&input) + 1, input.requestLength % 17);
  runCommand(command, expectedAnswer(command, query, ours ? image : kFresh));
  return 0;
}
