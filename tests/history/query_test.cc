// SPDX-License-Identifier: Apache-2.0

#include "history/board.h"

namespace vexora::test {
namespace {

constexpr char kUntouched = '\xA5';

// The call's answer; the output must stay untouched after it.
QueryAnswer ask(const Query &query) {
  constexpr std::size_t kGuard = 64;
  static std::string room(kImageSize + kGuard, kUntouched);
  QueryAnswer answer;
  answer.result = getHistoryData(room.data(), query.type, query.start, query.end, &answer.count);
  EXPECT_EQ(getHistoryDataFlag, 0);
  const auto size = static_cast<std::size_t>(std::max(answer.result, 0));
  answer.entries = room.substr(0, size);
  EXPECT_EQ(room.substr(size, kGuard), std::string(kGuard, kUntouched));
  std::fill_n(room.begin(), size, kUntouched);
  return answer;
}

// Compares random files: `perHour` of 4 records come an hour after the one before, the others after less than `limit`.
void compareWithReference(unsigned pushes, unsigned perHour, std::uint32_t limit, unsigned queries,
                          std::mt19937 &random) {
  const auto below = [&random](std::uint32_t end) { return static_cast<std::uint32_t>(random() % end); };
  Image image;
  std::uint32_t now = 0x80000000 - pushes * 1800;  // half of the times exceed a signed number
  for (unsigned i = 0; i < pushes; ++i) {
    now += below(4) < perHour ? 3600 : below(limit);
    Record record = recordAt(static_cast<std::time_t>(now));
    record.time = ~now;  // never compared
    image.push(record);
  }
  if (below(4) == 0) {
    image.count = 0;  // although the slots have times
  }
  write(kDataFile, image.bytes());
  const auto moment = [&] {
    const std::uint32_t recorded = image.slots[(image.head + below(std::min(pushes, kSlots) + 1)) % kSlots].query_time;
    const std::uint32_t distances[] = {0, 1, 3599, 3600, 3601, below(100'000)};
    return recorded + distances[below(6)] * (below(2) == 0 ? 1 : -1U);
  };
  constexpr std::uint32_t kTypes[] = {0, 1, 4};
  for (unsigned i = 0; i < queries; ++i) {
    const std::uint32_t start = moment();
    const Query query{kTypes[below(3)], start, below(3) == 0 ? 0xFFFFFFFF : moment()};
    ASSERT_EQ(ask(query), reference(image, query))
        << pushes << " pushes, limit " << limit << ", type " << query.type << ", " << start << " to " << query.end;
  }
}

class HistoryQuery : public RootTest {};

TEST_F(HistoryQuery, FollowsThePositionRulesForAnyRecords) {
  std::mt19937 random(52);
  for (const auto &[perHour, limit] : {std::pair{4U, 1U}, {3, 400'000}, {1, 300}, {0, 9000}}) {
    for (const unsigned pushes : {0U, 1U, 2U, 3U, 4U, 5U, 9U, 40U}) {
      compareWithReference(pushes, perHour, limit, 100, random);
    }
    compareWithReference(kSlots, perHour, limit, 20, random);
    compareWithReference(kSlots + 3456, perHour, limit, 40, random);
  }
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
    EXPECT_EQ(ask(query), QueryAnswer{}) << query.type << ' ' << query.start << ' ' << query.end;
  }
  for (const std::string &file : {whole.substr(0, 19), whole.substr(0, kImageSize - 1)}) {
    write(kDataFile, file);
    EXPECT_EQ(ask({4, 1, 0xFFFFFFFF}), QueryAnswer{}) << file.size();
    EXPECT_TRUE(read(kDataFile) == file) << file.size();
  }
  remove(kDataFile);
  EXPECT_EQ(ask({4, 1, 0xFFFFFFFF}), QueryAnswer{});
  EXPECT_FALSE(exists(kDataFile));
}

// The command's answer to a request at an odd address; the response must stay untouched after it.
std::string command(const std::string &request) {
  const std::string unaligned = '-' + request + '\3';
  std::string room(64, kUntouched);
  const int length = VexoraHistoryRecordDataOper(reinterpret_cast<const std::uint8_t *>(&unaligned[1]),
                                                 static_cast<std::uint32_t>(request.size()),
                                                 reinterpret_cast<std::uint8_t *>(&room[1]));
  std::string answer = room.substr(1, static_cast<std::size_t>(length));
  EXPECT_EQ(room, kUntouched + answer + std::string(63 - answer.size(), kUntouched));
  return answer;
}

TEST_F(HistoryQuery, CommandAnswersWithCompletionCodes) {
  const Record one = hourly(1, kNoon).slots[0];
  const std::string entry(reinterpret_cast<const char *>(&one), 28);
  // The seconds 1,709,208,000 and one more, little-endian.
  const std::string range("\xC0\x71\xE0\x65\xC1\x71\xE0\x65", 8);
  const std::string count("\0", 1);
  const std::string clear("\2", 1);
  std::uint32_t number = 7;
  EXPECT_EQ(getHistoryDataNum(&number), -1);
  EXPECT_EQ(number, 7U);
  for (const std::string &request : {count, "\1\4" + range, clear}) {
    EXPECT_EQ(command(request), "\xCC") << testing::PrintToString(request);
  }
  write(kDataFile, hourly(8760, kNoon).bytes());
  ASSERT_EQ(historyDataInit(), 0);
  const std::pair<std::string, std::string> rows[] = {
      {"", "\xC7"},
      {count + 'x', "\xC7"},
      {"\1\4" + range.substr(0, 7), "\xC7"},
      {"\1\4" + range + 'x', "\xC7"},
      {"\2x", "\xC7"},
      {"\3", "\xC9"},
      {"\xFF\4" + range, "\xC9"},
      {"\1\2" + range, "\xCC"},
      {"\1\4" + std::string("\1\0\0\0\2\0\0\0", 8), std::string(5, '\0')},
      {count, std::string("\0\x38\x22\0\0", 5)},
      {"\1\4" + range, std::string("\0\1\0\0\0", 5) + entry},
      {std::string("\1\0", 2) + range, std::string("\0\1\0\0\0", 5) + entry.substr(6)},
      {clear, std::string("\0", 1)},
      {clear, "\xCC"},
      {count, std::string(5, '\0')}};
  for (const auto &[request, answer] : rows) {
    EXPECT_EQ(command(request), answer) << testing::PrintToString(request);
  }
  std::uint8_t byte = 0x5A;
  EXPECT_EQ(VexoraHistoryRecordDataOper(nullptr, 1, &byte), 0);
  EXPECT_EQ(VexoraHistoryRecordDataOper(&byte, 1, nullptr), 0);
  EXPECT_EQ(byte, 0x5A);
  vexora_ringlist_free(std::exchange(HistoryDataRing, nullptr));
}

// The recorder samples in one thread while other threads query and clear.
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
  EXPECT_EQ(board.log.take(), kNoReports);
}

}  // namespace
}  // namespace vexora::test
