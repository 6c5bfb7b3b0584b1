// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <atomic>
#include <random>
#include <thread>

#include "history/board.h"

namespace {

// The busy flag and the bytes of this thread's reads while they are watched.
thread_local bool watching = false;
thread_local std::size_t bytesRead = 0;
thread_local std::string flags;

}  // namespace

extern "C" std::size_t fread(void *data, std::size_t size, std::size_t number, std::FILE *file) {
  flags += watching ? static_cast<char>('0' + getHistoryDataFlag) : '-';
  const std::size_t got = vexora::test::original(&fread, "fread")(data, size, number, file);
  bytesRead += got * size;
  return got;
}

namespace vexora::test {
namespace {

constexpr char kUntouched = '\xA5';

struct Query {
  std::uint32_t type;
  std::uint32_t start;
  std::uint32_t end;
};

// An answer of getHistoryData whose caller began with a count of 7 and an output of untouched bytes.
struct Answer {
  int result = -1;
  std::uint32_t count = 7;
  std::string entries;
  bool operator==(const Answer &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Answer &answer) {
  return stream << answer.result << ", count " << answer.count << ", " << testing::PrintToString(answer.entries);
}

Answer ask(const Query &query) {
  constexpr std::size_t kGuard = 64;
  static std::string room(kImageSize + kGuard, kUntouched);
  Answer answer;
  answer.result = getHistoryData(room.data(), query.type, query.start, query.end, &answer.count);
  EXPECT_EQ(getHistoryDataFlag, 0);
  const auto size = static_cast<std::size_t>(std::max(answer.result, 0));
  answer.entries = room.substr(0, size);
  EXPECT_EQ(room.substr(size, kGuard), std::string(kGuard, kUntouched));
  std::fill_n(room.begin(), size, kUntouched);
  return answer;
}

// The position rules taken one by one, in numbers too wide to wrap.
Answer reference(const Image &file, const Query &query) {
  const auto [type, start, end] = query;
  const std::int64_t n = file.count;
  const auto recordAge = [&](std::int64_t age) {
    return file.slots[(file.head + static_cast<std::uint32_t>(age)) % kSlots];
  };
  const auto timeOf = [&](std::int64_t age) { return recordAge(age).query_time; };
  const std::uint32_t oldest = file.slots[file.head].query_time;
  if (start > file.slots[file.tail].query_time || end < oldest) {
    return {0, 0, {}};
  }
  const std::int64_t estimate = start > oldest ? (start - oldest) / 3600 + 1 : 0;
  std::int64_t i = std::max<std::int64_t>(std::min(estimate, n - 1), 0);
  if (start > oldest && (estimate < n ? estimate != 1 : n > 2)) {
    while (i > 0 && start < timeOf(i - 1)) {
      --i;
    }
    while (i < n - 1 && start > timeOf(i + 1)) {
      ++i;
    }
  }
  Answer answer{0, 7, {}};
  for (; i < n && timeOf(i) < end; ++i) {
    const Record record = recordAge(i);
    const std::string bytes(reinterpret_cast<const char *>(&record), 28);
    answer.entries += type == 4 ? bytes : bytes.substr(type == 0 ? 6 : 0, 6) + bytes.substr(12);
    ++answer.count;
  }
  answer.result = static_cast<int>(answer.entries.size());
  return answer;
}

// How far apart records are: this many out of 4 an hour, the others any time up to a limit.
struct Rhythm {
  unsigned hourly;
  std::uint32_t limit;
};

void compareWithReference(unsigned pushes, const Rhythm &rhythm, unsigned queries, std::mt19937 &random) {
  const auto below = [&random](std::uint32_t limit) { return static_cast<std::uint32_t>(random() % limit); };
  Image image;
  std::uint32_t now = 1'700'000'000;
  for (unsigned i = 0; i < pushes; ++i) {
    now += below(4) < rhythm.hourly ? 3600 : below(rhythm.limit);
    image.push(recordAt(static_cast<std::time_t>(now)));
  }
  write(kDataFile, image.bytes());
  const auto moment = [&] {
    const std::uint32_t recorded = image.slots[(image.head + below(image.count + 1)) % kSlots].query_time;
    const std::uint32_t around[] = {0, 1, 3599, 3600, 3601, below(100'000)};
    const std::uint32_t distance = around[below(6)];
    return below(2) == 0 ? recorded + distance : recorded - distance;
  };
  constexpr std::uint32_t kTypes[] = {0, 1, 4};
  for (unsigned i = 0; i < queries; ++i) {
    const std::uint32_t start = moment();
    const std::uint32_t ends[] = {moment(), 0xFFFFFFFF, start + 1 + below(90'000)};
    const Query query{kTypes[below(3)], start, ends[below(3)]};
    ASSERT_EQ(ask(query), start < query.end ? reference(image, query) : Answer{})
        << pushes << " pushes, limit " << rhythm.limit << ", type " << query.type << ", " << start << " to "
        << query.end;
  }
}

class HistoryQuery : public RootTest {};

TEST_F(HistoryQuery, FollowsThePositionRulesForAnyRecords) {
  std::mt19937 random(52);
  for (const Rhythm &rhythm : {Rhythm{4, 1}, {3, 400'000}, {1, 300}, {0, 9000}}) {
    for (const unsigned pushes : {0U, 1U, 2U, 3U, 4U, 5U, 9U, 40U}) {
      compareWithReference(pushes, rhythm, 100, random);
    }
    compareWithReference(kSlots, rhythm, 20, random);
    compareWithReference(kSlots + 3456, rhythm, 40, random);
  }
}

TEST_F(HistoryQuery, LaysEntriesOutByType) {
  Image image;
  image.push({{0x0102, 0x0304, 0x0506}, {0x0708, 0x090A, 0x0B0C}, 23, 31, 12, 2024, 0x11121314, 0x15161718});
  write(kDataFile, image.bytes());
  const std::string of7000("\2\1\4\3\6\5", 6);
  const std::string of3009("\x8\7\xA\x9\xC\xB", 6);
  const std::string when("\x17\0\x1F\0\xC\0\xE8\7\x14\x13\x12\x11\x18\x17\x16\x15", 16);
  EXPECT_EQ(ask({0, 1, 0xFFFFFFFF}), (Answer{22, 8, of3009 + when}));
  EXPECT_EQ(ask({1, 1, 0xFFFFFFFF}), (Answer{22, 8, of7000 + when}));
  EXPECT_EQ(ask({4, 1, 0xFFFFFFFF}), (Answer{28, 8, of7000 + of3009 + when}));
}

TEST_F(HistoryQuery, RefusesWhatItCannotAnswer) {
  const std::string whole = hourly(3, kNoon).bytes();
  write(kDataFile, whole);
  std::uint32_t count = 7;
  char out = kUntouched;
  EXPECT_EQ(getHistoryData(nullptr, 4, 1, 0xFFFFFFFF, &count), -1);
  EXPECT_EQ(getHistoryData(&out, 4, 1, 0xFFFFFFFF, nullptr), -1);
  EXPECT_TRUE(count == 7 && out == kUntouched);
  for (const Query &query : {Query{4, 9, 9}, {4, 9, 8}, {2, 0, 9}, {5, 0, 9}, {0x104, 0, 9}}) {
    EXPECT_EQ(ask(query), Answer{}) << query.type;
  }
  Image foreign = hourly(3, kNoon);
  foreign.capacity = 8761;
  for (const std::string &file : {foreign.bytes(), whole.substr(0, 19), whole.substr(0, kImageSize - 1)}) {
    write(kDataFile, file);
    EXPECT_EQ(ask({4, 1, 0xFFFFFFFF}), Answer{});
    EXPECT_TRUE(read(kDataFile) == file);
  }
  remove(kDataFile);
  EXPECT_EQ(ask({4, 1, 0xFFFFFFFF}), Answer{});
  EXPECT_FALSE(exists(kDataFile));
}

// A header may tell of no records where the slots hold times.
TEST_F(HistoryQuery, RefusesAPositionBeforeTheFirstRecord) {
  Image image = hourly(3, kNoon);
  image.count = 0;
  write(kDataFile, image.bytes());
  EXPECT_EQ(ask({4, 1, 0xFFFFFFFF}), (Answer{0, 7, {}}));
  EXPECT_EQ(ask({4, kNoon + 1, 0xFFFFFFFF}), Answer{});
}

TEST_F(HistoryQuery, ReadsTheFileOnceUnderTheBusyFlag) {
  write(kDataFile, hourly(8760, kNoon).bytes());
  bytesRead = 0;
  flags = "";
  watching = true;
  ask({4, kNoon, 0xFFFFFFFF});
  watching = false;
  EXPECT_EQ(bytesRead, kImageSize);
  EXPECT_EQ(flags, "11");
}

BOARD_TEST(HistoryClear, EmptiesTheCacheAndRemovesTheFile) {
  EXPECT_EQ(clearHistoryData(), -1);
  EXPECT_EQ(getHistoryDataFlag, 0);
  ASSERT_EQ(historyDataInit(), 0);
  ASSERT_EQ(board.sample(), 0);
  ASSERT_EQ(board.sampleAt(kNoon, 20, 0), 0);
  getHistoryDataFlag = 1;
  EXPECT_EQ(clearHistoryData(), -1);
  EXPECT_EQ(getHistoryDataFlag, 1);
  EXPECT_EQ(HistoryDataRing->count, 1U);
  getHistoryDataFlag = 0;
  EXPECT_EQ(clearHistoryData(), 0);
  EXPECT_TRUE(cacheBytes() == Image().bytes());
  EXPECT_FALSE(exists(kDataFile));
  EXPECT_EQ(RecTmpData.sensor_3009.samples, 1U);
  EXPECT_EQ(clearHistoryData(), -1);
  EXPECT_EQ(getHistoryDataFlag, 0);
  // The hour in progress goes on into a new file.
  EXPECT_EQ(board.sampleAt(kNoon + kHour, 30, 0), 0);
  EXPECT_EQ(newestRecord().sensor_3009.average, 25);
  EXPECT_EQ(board.takeReports(), kNoReports);
}

TEST_F(HistoryQuery, CommandAnswersWithCompletionCodes) {
  const Record one = hourly(1, kNoon).slots[0];
  const std::string entry(reinterpret_cast<const char *>(&one), 28);
  // The seconds 1,709,208,000 and one more, little-endian.
  const std::string range("\xC0\x71\xE0\x65\xC1\x71\xE0\x65", 8);
  const std::string backward("\xC1\x71\xE0\x65\xC0\x71\xE0\x65", 8);
  struct Row {
    std::string request, answer;
  };
  const auto expectAnswers = [](const std::vector<Row> &rows) {
    for (const auto &[request, answer] : rows) {
      const std::string unaligned = '-' + request;
      std::string room(64, kUntouched);
      const int length = VexoraHistoryRecordDataOper(reinterpret_cast<const std::uint8_t *>(unaligned.data() + 1),
                                                     static_cast<std::uint32_t>(request.size()),
                                                     reinterpret_cast<std::uint8_t *>(&room[1]));
      EXPECT_EQ(length, answer.size()) << testing::PrintToString(request);
      EXPECT_EQ(room, kUntouched + answer + std::string(63 - answer.size(), kUntouched))
          << testing::PrintToString(request);
    }
  };
  const std::string count("\0", 1);
  const std::string clear("\2", 1);
  expectAnswers({{count, "\xCC"}, {"\1\4" + range, "\xCC"}, {clear, "\xCC"}});
  write(kDataFile, hourly(8760, kNoon).bytes());
  ASSERT_EQ(historyDataInit(), 0);
  expectAnswers({{"", "\xC7"},
                 {count + 'x', "\xC7"},
                 {"\1\4" + range.substr(0, 7), "\xC7"},
                 {"\1\4" + range + 'x', "\xC7"},
                 {"\2x", "\xC7"},
                 {"\3", "\xC9"},
                 {"\xFF\4" + range, "\xC9"},
                 {"\1\2" + range, "\xCC"},
                 {"\1\4" + backward, "\xCC"},
                 {count, std::string("\0\x38\x22\0\0", 5)},
                 {"\1\4" + range, std::string("\0\1\0\0\0", 5) + entry},
                 {"\1\1" + range, std::string("\0\1\0\0\0", 5) + entry.substr(0, 6) + entry.substr(12)},
                 {std::string("\1\0", 2) + range, std::string("\0\1\0\0\0", 5) + entry.substr(6)},
                 {clear, std::string("\0", 1)},
                 {clear, "\xCC"},
                 {count, std::string("\0\0\0\0\0", 5)}});
  std::uint8_t byte = 0x5A;
  EXPECT_EQ(VexoraHistoryRecordDataOper(nullptr, 1, &byte), 0);
  EXPECT_EQ(VexoraHistoryRecordDataOper(&byte, 1, nullptr), 0);
  EXPECT_EQ(byte, 0x5A);
  std::uint32_t number = 7;
  EXPECT_EQ(getHistoryDataNum(&number), 0);
  EXPECT_EQ(number, 0U);
  vexora_ringlist_free(std::exchange(HistoryDataRing, nullptr));
  number = 7;
  EXPECT_EQ(getHistoryDataNum(&number), -1);
  EXPECT_EQ(number, 7U);
}

// The recorder samples in one thread while others ask and clear.
BOARD_TEST(HistoryThreads, SeeWholeRecordsOnly) {
  ASSERT_EQ(historyDataInit(), 0);
  std::atomic<int> answers = 0;
  std::thread asking([&] {
    std::vector<Record> records(kSlots);
    while (answers < 50) {
      std::uint32_t count = 0;
      const int size = getHistoryData(records.data(), 4, 1, 0xFFFFFFFF, &count);
      EXPECT_TRUE(size == -1 || size == static_cast<int>(28 * count));
      for (std::uint32_t i = 0; i < count; ++i) {
        EXPECT_EQ(records[i].time, records[i].query_time);
        EXPECT_TRUE(i == 0 || records[i - 1].time < records[i].time);
      }
      answers += count > 2 ? 1 : 0;
    }
  });
  for (int n = 1; answers < 50; ++n) {
    board.sampleAt(kNoon + n * kHour, n, n);
    if (n % 20 == 0) {
      std::thread clearing(clearHistoryData);
      board.sample();
      clearing.join();
    }
  }
  asking.join();
  EXPECT_EQ(board.takeReports(), kNoReports);
}

}  // namespace
}  // namespace vexora::test
