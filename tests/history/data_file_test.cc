// SPDX-License-Identifier: Apache-2.0
//
// The data file: what a start makes of any, and what a writer that fails or dies leaves behind.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <thread>

#include "history/board.h"
#include "support/faults.h"

namespace {
// An armed fault that would kill the process does this instead.
std::function<void()> insteadOfDying;
}  // namespace

extern "C" int kill(pid_t /*process*/, int /*signal*/) noexcept {
  const vexora::test::InHarness own;
  insteadOfDying();
  return 0;
}

namespace vexora::test {
namespace {

// An empty history, byte for byte.
const std::string kFreshFile =
    std::string("\0\0\0\0\x37\x22\0\0\x1C\0\0\0\x38\x22\0\0\0\0\0\0", 20) + std::string(245'280, '\0');

using Reports = std::vector<PlatformMessage>;
const PlatformMessage kNoHeader = report(130, "Read History Dat File Head Fail, Reinit History Dat File");
const PlatformMessage kForeignHeader = report(130, "History Dat File Head Param Error, Reinit History Dat File");
const PlatformMessage kNoSlots = report(130, "Read History Dat File Data Fail, Reinit History Dat File");

void freeCache() { vexora_ringlist_free(std::exchange(HistoryDataRing, nullptr)); }

class HistoryFile : public RootTest {
 protected:
  void TearDown() override { freeCache(); }

  // The recorder starts with what is there, forgets the hour in progress and has `image` in the end.
  void expectStart(const std::string &image, const Reports &reports) {
    RecTmpData = {{1, 2, 3, 4}, {5, 6, 7, 8}, 9};
    EXPECT_EQ(historyDataInit(), 0);
    EXPECT_EQ(log_.take(), reports);
    EXPECT_TRUE(read(kDataFile) == image);
    EXPECT_TRUE(cacheBytes() == image.substr(0, kImageSize));
    const vexora_history_hour nothing{};
    EXPECT_EQ(std::memcmp(&RecTmpData, &nothing, sizeof nothing), 0);
  }
  void expectReplaced(const std::string &file, const PlatformMessage &report) {
    write(kDataFile, file);
    expectStart(kFreshFile, {report});
  }
  void expectLoaded(const std::string &file) {
    write(kDataFile, file);
    expectStart(file, kNoReports);
  }

  PlatformLog log_;
};

TEST_F(HistoryFile, IsMadeByTheFirstStartAndReplacedWhenForeignOrCutShort) {
  expectStart(kFreshFile, kNoReports);
  write(kDataFile, std::string(300'000, 'x'));
  EXPECT_EQ(InitHistoryDatFile(), 0);
  EXPECT_TRUE(read(kDataFile) == kFreshFile);
  using Row = std::pair<std::uint32_t Image::*, std::uint32_t>;
  const Row rows[] = {{&Image::head, 8760},     {&Image::head, 0xFFFFFFFF},  {&Image::itemSize, 0},
                      {&Image::tail, 8760},     {&Image::tail, 0xFFFFFFFF},  {&Image::itemSize, 27},
                      {&Image::count, 8761},    {&Image::count, 0xFFFFFFFF}, {&Image::itemSize, 29},
                      {&Image::capacity, 8759}, {&Image::capacity, 8761},    {&Image::itemSize, 32}};
  for (const auto &[field, value] : rows) {
    Image image = hourly(30, kNoon);
    image.*field = value;
    SCOPED_TRACE(testing::PrintToString(image.bytes().substr(0, 20)));
    expectReplaced(image.bytes(), kForeignHeader);
  }
  const std::string whole = hourly(8760, kNoon).bytes();
  for (std::size_t length = 0; length < whole.size(); length += length < 20 ? 1 : 245'279) {
    SCOPED_TRACE(length);
    expectReplaced(whole.substr(0, length), length < 20 ? kNoHeader : kNoSlots);
  }
}

TEST_F(HistoryFile, LoadsUnchangedUpToTheLimitsOfItsHeader) {
  Image image = hourly(kSlots + 5, kNoon);
  EXPECT_EQ(image.head, 5U);
  expectLoaded(image.bytes());
  image.head = image.tail = 8759;
  image.count = 0;
  expectLoaded(image.bytes());
  expectLoaded(hourly(3, kNoon).bytes() + "and what stands behind the image");
}

// What this process has open of the recorder's, and no child inherits.
std::string openFiles() {
  std::string seen;
  for (const std::string &number : list("/proc/self/fd")) {
    std::error_code closed;
    const std::string target = std::filesystem::read_symlink("/proc/self/fd/" + number, closed);
    if (target.starts_with("/extlog/syslog")) {
      seen += target + " is open, ";
      EXPECT_EQ(fcntl(std::stoi(number), F_GETFD), FD_CLOEXEC) << target;
    }
  }
  return seen;
}

// A letter for each report of a start.
std::string letters(const Reports &reports) {
  const std::pair<PlatformMessage, char> known[] = {{report(130, "Open History Dat File Fail"), 'o'},
                                                    {report(130, "Init History Dat File Fail"), 'c'},
                                                    {report(130, "Open History Data Head To File Fail"), 'H'},
                                                    {report(130, "Open History Data To File Fail"), 'S'},
                                                    {report(130, "Init HistoryDataRing fail"), 'r'},
                                                    {kNoHeader, 'h'},
                                                    {kNoSlots, 's'}};
  std::string word;
  for (const PlatformMessage &report : reports) {
    word += std::ranges::find(known, report, [](const auto &pair) { return pair.first; })->second;
  }
  return word;
}

TEST_F(HistoryFile, StartsOrFailsCleanlyAndStaysForTheNextStart) {
  struct Row {
    std::string file;
    std::vector<std::string> reports;  // by the number of the failing call: access, what writes, what reads
    std::string withoutRing;
  };
  const Row rows[] = {{"", {"", "oc", "Hc", "Sc", "Sc", "Sc", "Sc", "o", "h", "s", ""}, "rc"},
                      {hourly(9, kNoon).bytes(), {"", "o", "h", "s", ""}, "r"},
                      {"cut", {"", "o", "h", "h", "ho", "hH", "hS", "hS", "hS", "hS"}, "r"}};
  const auto failIn = [&](std::string_view group, const Row &row) {
    const bool calls = group == kAnyFileCall;
    const int descriptors = openDescriptors();
    int result = 0;
    const vexora_ringlist *cache = nullptr;
    const auto restore = [&] {
      row.file.empty() ? remove(kDataFile) : write(kDataFile, row.file);
      RecTmpData.sensor_3009.sum = 77;
      cache = HistoryDataRing;
      log_.take();
    };
    const auto start = [&] { result = historyDataInit(); };
    const auto check = [&](unsigned n) {
      SCOPED_TRACE(testing::Message() << row.reports.size() << " calls, " << group << ' ' << n);
      const std::string now = letters(log_.take());
      EXPECT_TRUE(now == (calls ? row.reports.at(n - 1) : row.withoutRing) || (!calls && n > 3)) << now;
      const bool started = now.empty() || now.back() == 'h' || now.back() == 's';
      const bool notCreated = now.ends_with('c');
      EXPECT_EQ(result, started ? 0 : -1);
      EXPECT_EQ(RecTmpData.sensor_3009.sum, started ? 0 : 77) << "of the hour in progress";
      EXPECT_TRUE(notCreated ? HistoryDataRing == cache : (HistoryDataRing != nullptr) == started);
      EXPECT_TRUE(!started || read(kDataFile) == cacheBytes());
      EXPECT_EQ(exists(kDataFile), !row.file.empty() || (now != "oc" && now != "rc"));
      EXPECT_EQ(openDescriptors(), descriptors);
      EXPECT_EQ(historyDataInit(), 0);
      EXPECT_TRUE(read(kDataFile) == cacheBytes());
      restore();
    };
    restore();
    insteadOfDying = openFiles;
    EXPECT_GT(failEach(group, ENOSPC, start, check, Strike::kKill), calls ? row.reports.size() - 1 : 3);
    EXPECT_EQ(result, 0);
    freeCache();
  };
  for (const Row &row : rows) {
    failIn(kAnyFileCall, row);
#ifndef VEXORA_SANITIZED
    const HeapWatch heap;
    failIn(kAnyAllocation, row);
    EXPECT_EQ(heap.growth(), 0);
#endif
  }
}

TEST_F(HistoryFile, ThatCannotBeReadFailsAQueryCleanly) {
  const std::string file = hourly(3, kNoon).bytes();
  write(kDataFile, file);
  const int descriptors = openDescriptors();
  Record room[3];
  std::uint32_t count = 0;
  int result = 0;
  const auto asking = [&] {
    count = 7;
    result = getHistoryData(room, 4, 1, 0xFFFFFFFF, &count);
  };
  const auto check = [&](unsigned n) {
    EXPECT_EQ(result, -1) << n;
    EXPECT_EQ(count, 7U) << n;
    EXPECT_EQ(getHistoryDataFlag, 0) << n;
    EXPECT_EQ(openDescriptors(), descriptors) << n;
  };
  insteadOfDying = [] {
    openFiles();
    EXPECT_EQ(getHistoryDataFlag, 1);
  };
  for (const auto &[call, failures] : {std::pair{"fopen", 1U},
#ifndef VEXORA_SANITIZED
                                       {kAnyAllocation.data(), 2U},
#endif
                                       {"fread", 2U}}) {
    const HeapWatch heap;
    EXPECT_EQ(failEach(call, EIO, asking, check, Strike::kKill), failures) << call;
    EXPECT_EQ(result, 3 * 28) << call;
    EXPECT_EQ(count, 10U) << call;
#ifndef VEXORA_SANITIZED
    EXPECT_EQ(heap.growth(), 0) << call;
#endif
  }
  EXPECT_TRUE(read(kDataFile) == file);
  EXPECT_EQ(log_.take(), kNoReports);
}

BOARD_TEST(HistoryClear, EmptiesTheCacheAndRemovesTheFile) {
  EXPECT_EQ(clearHistoryData(), -1);
  EXPECT_EQ(getHistoryDataFlag, 0);
  ASSERT_EQ(historyDataInit(), 0);
  ASSERT_EQ(board.sample(), 0);
  ASSERT_EQ(board.sampleAt(kNoon, 20, 0), 0);
  getHistoryDataFlag = 1;
  EXPECT_EQ(clearHistoryData(), -1);
  EXPECT_EQ(std::exchange(getHistoryDataFlag, 0), 1);
  EXPECT_EQ(HistoryDataRing->count, 1U);
  insteadOfDying = [] { EXPECT_EQ(getHistoryDataFlag, 1); };
  for (const bool removed : {false, true, false}) {
    const FailCall moment("remove", removed ? kNever : 1, EIO, Strike::kKill);
    EXPECT_EQ(clearHistoryData(), removed ? 0 : -1);
    EXPECT_EQ(moment.seen(), 1U);
    EXPECT_EQ(getHistoryDataFlag, 0);
    EXPECT_TRUE(cacheBytes() == Image().bytes());
  }
  EXPECT_FALSE(exists(kDataFile));
  EXPECT_EQ(RecTmpData.sensor_3009.samples, 1U);
  // The hour in progress goes on into a new file.
  EXPECT_EQ(board.sampleAt(kNoon + kHour, 30, 0), 0);
  EXPECT_EQ(newestRecord().sensor_3009.average, 25);
  EXPECT_EQ(board.log.take(), kNoReports);
}

// The recorder's folder at one moment of a rewrite: what this process has open there, and what is whole.
std::string lookAround(const std::string &older) {
  // A clear that finds its way in here would have its removed file brought back by the rename.
  std::thread([] { EXPECT_EQ(pthread_mutex_trylock(HistoryDataRing->lock), EBUSY); }).join();
  const std::string newer = cacheBytes();
  const bool isNew = read(kDataFile) == newer;
  EXPECT_TRUE(isNew || read(kDataFile) == older);
  const bool isReady = exists(kTemporaryFile) && read(kTemporaryFile) == newer;
  return openFiles() + (isReady ? "temporary file whole" : isNew ? "data file new" : "");
}

BOARD_TEST(PowerCut, OrAFailingCallLeavesAWholeFileOrNone) {
  ASSERT_EQ(historyDataInit(), 0);
  ASSERT_EQ(board.sample(), 0);
  sensors.calls.reserve(1000);
  int result = -1;
  std::string older, seen;
  insteadOfDying = [&] { seen = lookAround(older); };
  const auto prepare = [&] {
    older = read(kDataFile);
    seen = "";
    write(kTemporaryFile, "cut");
    board.clock.advance(kHour);
  };
  const auto sample = [&] { result = board.sample(); };
  const auto check = [&, descriptors = openDescriptors()](unsigned n) {
    SCOPED_TRACE(n);
    const bool stored = result == 0;
    EXPECT_TRUE(stored || !seen.ends_with("new")) << "which stays, once it has its name";
    EXPECT_EQ(board.log.take(), stored ? kNoReports : (std::vector{kNotWritten, kGivenUp}));
    EXPECT_EQ(exists(kDataFile), stored);
    EXPECT_EQ(exists(kTemporaryFile), !stored);
    EXPECT_TRUE(!stored || read(kDataFile) == cacheBytes());
    EXPECT_EQ(RecTmpData.sensor_3009.samples == 0, stored);
    EXPECT_EQ(openDescriptors(), descriptors);
    const std::uint32_t cached = HistoryDataRing->count;
    EXPECT_EQ(board.sample(), 0);
    EXPECT_EQ(HistoryDataRing->count, cached) << "which has the record of a failed attempt, to merge with";
    EXPECT_TRUE(read(kDataFile) == cacheBytes());
    EXPECT_FALSE(exists(kTemporaryFile));
    prepare();
  };
  prepare();
  EXPECT_GE(failEach(kAnyFileCall, EIO, sample, check, Strike::kKill), 10U);
#ifndef VEXORA_SANITIZED
  for (const std::string_view group : {kAnyFileCall, kAnyAllocation}) {
    const HeapWatch heap;
    prepare();
    EXPECT_GT(failEach(group, EIO, sample, check), 0U) << group;
    EXPECT_EQ(heap.growth(), 0) << group;
  }
#endif
  // What is synced when, and the result when that fails, is interrupted, or refused by a medium that can't be synced.
  const std::string file = kTemporaryFile + " is open, temporary file whole";
  const std::string folder = "/extlog/syslog is open, data file new";
  const std::tuple<unsigned, int, std::string, int> rows[] = {
      {2, EIO, folder, 0}, {1, EINTR, file, 0}, {1, EINVAL, file, 0}, {1, ENOSYS, file, 0}, {1, EIO, file, -1}};
  for (const auto &[nth, error, state, expected] : rows) {
    prepare();
    const FailCall notSynced("fsync", nth, error, Strike::kKill);
    sample();
    EXPECT_EQ(std::pair(seen, result), std::pair(state, expected)) << error;
  }
}

BOARD_TEST(PowerCut, InsideARenameMayLeaveBothNames) {
  ASSERT_EQ(historyDataInit(), 0);
  std::filesystem::create_hard_link(kDataFile, kTemporaryFile);
  std::ifstream reader(kDataFile);
  EXPECT_EQ(board.sample(), 0);
  EXPECT_TRUE(std::string(std::istreambuf_iterator(reader), {}) == kFreshFile);
  EXPECT_TRUE(read(kDataFile) == cacheBytes());
  EXPECT_EQ(list("/extlog/syslog"), std::vector<std::string>{"history_data.dat"});
  // A link that leads to the file is no second name of it, and stays.
  std::filesystem::create_hard_link(kDataFile, "/extlog/syslog/elsewhere");
  std::filesystem::create_symlink("elsewhere", kTemporaryFile);
  board.clock.advance(kHour);
  EXPECT_EQ(board.sample(), 0);
  EXPECT_EQ(std::filesystem::read_symlink(kDataFile), "elsewhere");
  EXPECT_TRUE(read("/extlog/syslog/elsewhere") == cacheBytes());
}

}  // namespace
}  // namespace vexora::test
