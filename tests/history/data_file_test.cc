// SPDX-License-Identifier: Apache-2.0
//
// The data file: a start with any file, and the file after a writer that fails or dies.

#include "history/board.h"

namespace {
// Runs in place of the SIGKILL of an armed fault.
std::function<void()> insteadOfDying;
}  // namespace

extern "C" int kill(pid_t /*process*/, int /*signal*/) noexcept {
  const vexora::test::InHarness own;
  insteadOfDying();
  return 0;
}

namespace vexora::test {
namespace {

const std::string kFreshFile =
    std::string("\0\0\0\0\x37\x22\0\0\x1C\0\0\0\x38\x22\0\0\0\0\0\0", 20) + std::string(245'280, '\0');

using Reports = std::vector<FirmwareMessage>;
const FirmwareMessage kNoHeader = report(130, "Read History Dat File Head Fail, Reinit History Dat File");
const FirmwareMessage kForeignHeader = report(130, "History Dat File Head Param Error, Reinit History Dat File");
const FirmwareMessage kNotMade = report(130, "Init History Dat File Fail");
const FirmwareMessage kNotFilled = report(130, "Open History Data To File Fail");
const FirmwareMessage kNoSlots = report(130, "Read History Dat File Data Fail, Reinit History Dat File");

void freeCache() { vexora_ringlist_free(std::exchange(HistoryDataRing, nullptr)); }

class HistoryFile : public RootTest {
 protected:
  void TearDown() override { freeCache(); }

  // The recorder starts with the present file, discards the hour in progress and ends with `image`.
  void expectStart(const std::string &image, const Reports &reports) {
    RecTmpData = {{1, 2, 3, 4}, {5, 6, 7, 8}, 9};
    EXPECT_EQ(historyDataInit(), 0);
    EXPECT_EQ(log_.take(), reports);
    EXPECT_TRUE(read(kDataFile) == image);
    EXPECT_TRUE(cacheBytes() == image.substr(0, kImageSize));
    const vexora_history_hour nothing{};
    EXPECT_EQ(std::memcmp(&RecTmpData, &nothing, sizeof nothing), 0);
  }

  FirmwareLog log_;
};

TEST_F(HistoryFile, IsMadeByTheFirstStartAndReplacedWhenForeignOrCutShort) {
  expectStart(kFreshFile, kNoReports);
  using Row = std::pair<std::uint32_t Image::*, std::uint32_t>;
  const Row rows[] = {{&Image::head, 8760},     {&Image::head, 0xFFFFFFFF},  {&Image::itemSize, 0},
                      {&Image::tail, 8760},     {&Image::tail, 0xFFFFFFFF},  {&Image::itemSize, 27},
                      {&Image::count, 8761},    {&Image::count, 0xFFFFFFFF}, {&Image::itemSize, 29},
                      {&Image::capacity, 8759}, {&Image::capacity, 8761},    {&Image::itemSize, 32}};
  for (const auto &[field, value] : rows) {
    Image image = hourly(30, kNoon);
    image.*field = value;
    SCOPED_TRACE(testing::PrintToString(image.bytes().substr(0, 20)));
    write(kDataFile, image.bytes());
    expectStart(kFreshFile, {kForeignHeader});
  }
  const std::string whole = hourly(8760, kNoon).bytes();
  for (std::size_t length = 0; length < whole.size(); length += length < 20 ? 1 : 245'279) {
    SCOPED_TRACE(length);
    write(kDataFile, whole.substr(0, length));
    expectStart(kFreshFile, {length < 20 ? kNoHeader : kNoSlots});
  }
  Image limits = hourly(kSlots + 5, kNoon);
  limits.head = limits.tail = kSlots - 1;
  limits.count = 0;
  for (const std::string &legal : {whole, limits.bytes() + "and what follows the image"}) {
    write(kDataFile, legal);
    expectStart(legal, kNoReports);
  }
}

// The recorder's files that this process has open; no child may inherit them.
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

TEST_F(HistoryFile, StartsOrFailsCleanlyAndStaysForTheNextStart) {
  std::map<std::string, int> reports = {
      {kNotMade.text, 0}, {kNoHeader.text, 0}, {kNoSlots.text, 0}, {kNotFilled.text, 0}};
  for (const char *text : {"Open History Dat File Fail", "Open History Data Head To File Fail"}) {
    reports.emplace(report(130, text).text, 0);
  }
  const auto failIn = [&](std::string_view group, const std::string &file) {
    int result = 0;
    const vexora_ringlist *cache = nullptr;
    const auto restore = [&] {
      file.empty() ? remove(kDataFile) : write(kDataFile, file);
      RecTmpData.sensor_3009.sum = 77;
      cache = HistoryDataRing;
      log_.take();
    };
    const auto start = [&] { result = historyDataInit(); };
    const auto check = [&, descriptors = openDescriptors()](unsigned n) {
      SCOPED_TRACE(testing::Message() << file.size() << " bytes, " << group << ' ' << n);
      std::string last;
      for (const FirmwareMessage &report : log_.take()) {
        ++reports.at(last = report.text);
        EXPECT_EQ(report.level, 130);
      }
      const bool started = result == 0;
      EXPECT_TRUE(started || !last.empty());
      EXPECT_EQ(RecTmpData.sensor_3009.sum, started ? 0 : 77) << "of the hour in progress";
      EXPECT_TRUE(last == kNotMade.text ? HistoryDataRing == cache : (HistoryDataRing != nullptr) == started);
      EXPECT_TRUE(!started || read(kDataFile) == cacheBytes());
      EXPECT_TRUE(file.empty() || exists(kDataFile));
      EXPECT_EQ(openDescriptors(), descriptors);
      EXPECT_EQ(historyDataInit(), 0);
      EXPECT_TRUE(read(kDataFile) == cacheBytes());
      restore();
    };
    restore();
    insteadOfDying = openFiles;
    EXPECT_GT(failEach(group, ENOSPC, start, check, Strike::kKill), 3U);
    EXPECT_EQ(result, 0);
    const auto create = [&] { result = InitHistoryDatFile(); };
    failEach(group, ENOSPC, create, [&](unsigned n) { EXPECT_EQ(result, log_.take().empty() ? 0 : -1) << group << n; });
    const auto unfilled = [&](unsigned n) { EXPECT_EQ(log_.take(), Reports{kNotFilled}) << n; };
    EXPECT_EQ(failEach("fflush", ENOSPC, create, unfilled), 2U);
    freeCache();
  };
  for (const std::string &file : {std::string(), hourly(9, kNoon).bytes(), std::string("cut")}) {
    failIn(kAnyFileCall, file);
#ifndef VEXORA_SANITIZED
    reports.emplace(report(130, "Init HistoryDataRing fail").text, 0);
    const HeapWatch heap;
    failIn(kAnyAllocation, file);
    EXPECT_EQ(heap.growth(), 0);
#endif
  }
  for (const auto &[text, times] : reports) {
    EXPECT_GT(times, 0) << text;
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
    EXPECT_EQ(failEach(call, EIO, asking, check, Strike::kKill), failures) << call;
    EXPECT_EQ(result, 3 * 28) << call;
    EXPECT_EQ(count, 10U) << call;
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
    const FailCall fault("remove", removed ? kNever : 1, EIO, Strike::kKill);
    EXPECT_EQ(clearHistoryData(), removed ? 0 : -1);
    EXPECT_EQ(getHistoryDataFlag, 0);
    EXPECT_TRUE(cacheBytes() == Image().bytes());
  }
  EXPECT_FALSE(exists(kDataFile));
  EXPECT_EQ(RecTmpData.sensor_3009.samples, 1U);
  // The hour in progress continues into a new file.
  EXPECT_EQ(board.sampleAt(kNoon + kHour, 30, 0), 0);
  EXPECT_EQ(newestRecord().sensor_3009.average, 25);
  EXPECT_EQ(board.log.take(), kNoReports);
}

// The recorder's directory at one moment of a rewrite: the open files, and the complete one.
std::string lookAround(const std::string &older) {
  // The lock must be held: the rename would bring back the file of a clear that runs now.
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
  // Which sync fails and how, the state at that time, and the call's result. A medium without sync is no failure.
  const std::string file = kTemporaryFile + " is open, temporary file whole";
  const std::string directory = "/extlog/syslog is open, data file new";
  const std::tuple<unsigned, int, std::string, int> rows[] = {
      {2, EIO, directory, 0}, {1, EINTR, file, 0}, {1, EINVAL, file, 0}, {1, ENOSYS, file, 0}, {1, EIO, file, -1}};
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
}

}  // namespace
}  // namespace vexora::test
