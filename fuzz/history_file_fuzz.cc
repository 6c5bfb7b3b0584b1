// SPDX-License-Identifier: Apache-2.0
//
// History data files that nobody of ours wrote, through everything that reads them: a query, the recorder's start and
// the command. Runs in the private root, where the file is one in memory. What an execution costs is blocks of 245,280
// bytes, fresh pages from the sanitizer each time, so the input chooses whether it goes on after the first query.
//
// An input describes a file rather than holding one, which would be 245,300 bytes of mostly the same: a Description,
// then times of single records. It is zeros where it ends early.
//
// Each record's averages hold its slot, so that an answer tells which records it is made of.

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
  std::uint8_t choices;    // bit 0: times an hour apart, in slot order, else all 0; bit 1: start and command, too
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

/// Whether the library has to accept a file of this size with the image.
bool isOurs(const Image &image, std::size_t size) {
  return size >= kImageSize && image.head < kSlots && image.tail < kSlots && image.itemSize == 28 &&
         image.capacity == kSlots && image.count <= kSlots;
}

/// The entries' block is of their size, so that a byte beyond them ends the run.
void queryFile(const Query &query, const QueryAnswer &expected) {
  QueryAnswer answer{.entries = std::string(expected.entries.size(), '~')};
  answer.result = getHistoryData(answer.entries.data(), query.type, query.start, query.end, &answer.count);
  require(answer == expected, "an answer has the file's records of the range");
}

void startRecorder(const Image &expected) {
  require(historyDataInit() == 0, "a bad file is no error");
  require(std::memcmp(HistoryDataRing, &expected, 20) == 0, "the cache has the file's header");
  require(std::memcmp(HistoryDataRing->storage, &expected.slots, sizeof expected.slots) == 0,
          "the cache has the file's slots");
}

/// A request's bytes are those of the description, so that one for records asks for the query's.
void runCommand(const std::string &request, const QueryAnswer &found) {
  const std::vector<std::uint8_t> exact(request.begin(), request.end());
  std::vector<std::uint8_t> answer(5 + found.entries.size());
  std::uint8_t nothing = 0;
  const int length = VexoraHistoryRecordDataOper(exact.empty() ? &nothing : exact.data(),
                                                 static_cast<std::uint32_t>(exact.size()), answer.data());
  const bool isQuery = request.size() == 10 && request[0] == 1 && found.result != -1;
  require(length == (isQuery ? 5 + found.result : request == std::string(1, '\0') ? 5 : 1), "the answer's length");
  require(!isQuery || std::memcmp(&answer[5], found.entries.data(), found.entries.size()) == 0, "the entries");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static Image image;
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
  std::string file = image.bytes();
  file.resize(fileSize);
  putFile(kDataFile, file.data(), file.size());
  const Query query{input.type, input.start, input.end};
  const bool ours = isOurs(image, fileSize);
  queryFile(query, ours ? reference(image, query) : QueryAnswer{});
  if ((input.choices & 2) != 0) {
    const Image &started = ours ? image : kFresh;
    startRecorder(started);
    // That a bad file was replaced shows in the answers.
    queryFile(query, reference(started, query));
    runCommand({reinterpret_cast<const char *>(&input) + 1, input.requestLength % 17U}, reference(started, query));
  }
  return 0;
}
