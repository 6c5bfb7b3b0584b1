// SPDX-License-Identifier: Apache-2.0
//
// Foreign history data files, through all their readers: a query, the recorder's start and the command. Runs in the
// private root, where the file is in memory. The time goes into blocks of 245,280 bytes, which the sanitizer makes of
// fresh pages, so the input chooses whether a run continues after the first query.
//
// An input describes a file, as the 245,300 bytes of a whole one are mostly the same: a Description, then the times of
// single records. A short input is continued with zeros.
//
// Each record's averages are its slot's number, so that an answer shows which records are in it.

#include "../tests/history/query_model.h"
#include "target.h"

// The reports of bad files are dropped: there are thousands a second.
extern "C" void XDBG_LINUXAPP_DbgOut(int, const char *, ...) {}

namespace {

using namespace vexora::test;

constexpr const char *kDataFile = "/extlog/syslog/history_data.dat";
constexpr std::size_t kTrailingSize = 100;

/// The request is `requestLength` modulo 17 bytes, beginning with `operation`; the query has the same arguments.
struct [[gnu::packed]] Description {
  std::uint8_t requestLength;
  char operation;
  std::uint8_t type;
  std::uint32_t start;
  std::uint32_t end;
  char more[6];
  std::uint32_t head;  // the fields of the file's header
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

/// Slots whose records contain their slot's number.
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

/// Whether the library must accept a file of this size with the image.
bool isOurs(const Image &image, std::size_t size) {
  return size >= kImageSize && image.head < kSlots && image.tail < kSlots && image.itemSize == 28 &&
         image.capacity == kSlots && image.count <= kSlots;
}

/// The block for the entries has exactly their size, so that the sanitizer reports a write after it.
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

/// The request's bytes are the description's, so that a request for records has the query's arguments.
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
    // The answers show that a bad file was replaced.
    queryFile(query, reference(started, query));
    runCommand({reinterpret_cast<const char *>(&input) + 1, input.requestLength % 17U}, reference(started, query));
  }
  return 0;
}
