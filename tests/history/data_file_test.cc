// SPDX-License-Identifier: Apache-2.0
//
// The data file: what a start makes of any, and what a writer that fails or dies leaves behind.
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <thread>

#include "history/board.h"
#include "support/faults.h"

namespace {
// An armed fault that would kill the process does this instead.
std::function<void()> insteadOfDying;
}  // namespace

extern "C" int kill(pid_t process, int signal) noexcept {
  if (!insteadOfDying) {
    return static_cast<int>(syscall(SYS_kill, process, signal));
  }
  const vexora::test::InHarness own;
  insteadOfDying();
  return 0;
}

namespace vexora::test {
namespace {

// An empty history, byte for byte.
const std::string kFreshFile =
    std::string("\0\0\0\0\x37\x22\0\0\x1C\0\0\0\x38\x22\0\0\0\0\0\0", 20) + std::string(245'280, '\0');

const PlatformMessage kNotOpened = report(130, "Open History Dat File Fail");
const PlatformMessage kHeaderNotWritten = report(130, "Open History Data Head To File Fail");
const PlatformMessage kSlotsNotWritten = report(130, "Open History Data To File Fail");
const PlatformMessage kNotCreated = report(130, "Init History Dat File Fail");
const PlatformMessage kNoHeader = report(130, "Read History Dat File Head Fail, Reinit History Dat File");
const PlatformMessage kForeignHeader = report(130, "History Dat File Head Param Error, Reinit History Dat File");
const PlatformMessage kNoSlots = report(130, "Read History Dat File Data Fail, Reinit History Dat File");
#ifndef VEXORA_SANITIZED
const PlatformMessage kNoRing = report(130, "Init HistoryDataRing fail");
#endif

void freeCache() { vexora_ringlist_free(std::exchange(HistoryDataRing, nullptr)); }

class HistoryFile : public RootTest {
 protected:
  void TearDown() override { freeCache(); }

  // The recorder starts with this file and has `image` in the end.
  void expectStart(const std::string &file, const std::string &image, const std::vector<PlatformMessage> &reports) {
    write(kDataFile, file);
    EXPECT_EQ(historyDataInit(), 0);
    EXPECT_EQ(log_.take(), reports);
    EXPECT_TRUE(read(kDataFile) == image);
    EXPECT_TRUE(cacheBytes() == image.substr(0, kImageSize));
  }
  void expectLoaded(const std::string &file) { expectStart(file, file, kNoReports); }
  // The recorder can't start, and doesn't touch the hour in progress.
  void expectFails(const std::vector<PlatformMessage> &reports) {
    RecTmpData.sensor_3009.sum = 77;
    EXPECT_EQ(historyDataInit(), -1);
    EXPECT_EQ(log_.take(), reports);
    EXPECT_EQ(RecTmpData.sensor_3009.sum, 77);
  }

  PlatformLog log_;
};

TEST_F(HistoryFile, IsCreatedEmptyByTheFirstStart) {
  RecTmpData.sensor_3009.sum = 77;
  EXPECT_EQ(historyDataInit(), 0);
  EXPECT_TRUE(read(kDataFile) == kFreshFile);
  EXPECT_TRUE(cacheBytes() == kFreshFile);
  const vexora_history_hour nothing{};
  EXPECT_EQ(std::memcmp(&RecTmpData, &nothing, 36), 0);
  write(kDataFile, std::string(300'000, 'x'));
  EXPECT_EQ(InitHistoryDatFile(), 0);
  EXPECT_TRUE(read(kDataFile) == kFreshFile);
  EXPECT_EQ(log_.take(), kNoReports);
}

TEST_F(HistoryFile, ForeignOrCutShortIsReplaced) {
  const std::pair<std::uint32_t Image::*, std::vector<std::uint32_t>> rows[] = {{&Image::head, {8760, 0xFFFFFFFF}},
                                                                                {&Image::tail, {8760, 0xFFFFFFFF}},
                                                                                {&Image::itemSize, {0, 27, 29, 32}},
                                                                                {&Image::capacity, {0, 8759, 8761}},
                                                                                {&Image::count, {8761, 0xFFFFFFFF}}};
  for (const auto &[field, values] : rows) {
    for (const std::uint32_t value : values) {
      Image image = hourly(30, kNoon);
      image.*field = value;
      SCOPED_TRACE(testing::PrintToString(image.bytes().substr(0, 20)));
      expectStart(image.bytes(), kFreshFile, {kForeignHeader});
    }
  }
  const std::string whole = hourly(8760, kNoon).bytes();
  for (std::size_t length = 0; length < whole.size(); length += length < 20 ? 1 : 245'279) {
    SCOPED_TRACE(length);
    expectStart(whole.substr(0, length), kFreshFile, {length < 20 ? kNoHeader : kNoSlots});
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

TEST_F(HistoryFile, ThatCannotBeOpenedOrReplacedLeavesNoCache) {
  const std::string file = hourly(3, kNoon).bytes();
  expectLoaded(file);
  const vexora_ringlist *const cache = HistoryDataRing;
  const int descriptors = openDescriptors();
  remove(kDataFile);
  std::filesystem::create_symlink("/var/no/such/folder", kDataFile);
  expectFails({kNotOpened, kNotCreated});
  EXPECT_EQ(HistoryDataRing, cache) << "which nothing replaces";
  EXPECT_TRUE(cacheBytes() == file);
  remove(kDataFile);
  write(kDataFile, file);
  {
    const FailCall unreadable("fopen", 1, EACCES);
    expectFails({kNotOpened});
  }
  EXPECT_EQ(HistoryDataRing, nullptr);
  EXPECT_EQ(read(kDataFile), file);
  remove(kDataFile);
  makeFolder(kDataFile);
  expectFails({kNoHeader, kNotOpened});
  EXPECT_EQ(HistoryDataRing, nullptr);
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(HistoryFile, IsNotLeftHalfWritten) {
  const std::pair<const char *, std::vector<PlatformMessage>> rows[] = {
      // the reports by the number of the call
      {"fwrite", {kHeaderNotWritten, kSlotsNotWritten}},
      {"fflush", {kHeaderNotWritten, kSlotsNotWritten}},
      {"fclose", {kSlotsNotWritten}},
      {"fopen", {kNotOpened}}};
  for (const auto &[call, reports] : rows) {
    SCOPED_TRACE(call);
    int result = 0;
    const int descriptors = openDescriptors();
    const auto check = [&, &expected = reports](unsigned n) {
      EXPECT_EQ(result, -1);
      EXPECT_EQ(log_.take(), std::vector{expected.at(n - 1)});
      EXPECT_FALSE(exists(kDataFile));
      EXPECT_EQ(openDescriptors(), descriptors);
    };
    EXPECT_EQ(failEach(
                  call, ENOSPC, [&] { result = InitHistoryDatFile(); }, check),
              reports.size());
    EXPECT_EQ(result, 0);
    remove(kDataFile);
  }
}

#ifndef VEXORA_SANITIZED
TEST_F(HistoryFile, StartsOrFailsCleanlyWithoutMemory) {
  const std::string kept = hourly(9, kNoon).bytes();
  const int descriptors = openDescriptors();
  for (const bool fresh : {false, true}) {
    const auto restore = [&] { fresh ? remove(kDataFile) : write(kDataFile, kept); };
    const std::string &whole = fresh ? kFreshFile : kept;
    const HeapWatch heap;
    int result = 0;
    restore();
    const auto check = [&](unsigned n) {
      const auto reports = log_.take();
      EXPECT_EQ(reports.empty(), result == 0) << n;
      EXPECT_TRUE(n > 3 || reports == (fresh ? std::vector{kNoRing, kNotCreated} : std::vector{kNoRing})) << n;
      EXPECT_EQ(HistoryDataRing != nullptr, result == 0) << n;
      EXPECT_TRUE(result == -1 || cacheBytes() == whole) << n;
      EXPECT_TRUE(exists(kDataFile) ? read(kDataFile) == whole : fresh) << n;
      freeCache();
      restore();
    };
    EXPECT_GT(failEach(
                  kAnyAllocation, ENOMEM, [&] { result = historyDataInit(); }, check),
              3U);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(historyDataInit(), 0) << "a second time, which frees the cache of the first";
    freeCache();
    EXPECT_EQ(heap.growth(), 0);
  }
  EXPECT_EQ(openDescriptors(), descriptors);
}
#endif

// The recorder's folder at one moment of a rewrite: what this process has open there, and what is in place.
std::string lookAround() {
  std::string seen;
  for (const std::string &number : list("/proc/self/fd")) {
    char target[256] = {};
    if (readlink(("/proc/self/fd/" + number).c_str(), target, sizeof target - 1) > 0 &&
        std::string_view(target).starts_with("/extlog/syslog")) {
      seen.append(target).append(" is open, ");
    }
  }
  // A clear that finds its way in here would have its removed file brought back by the rename.
  std::thread([] { EXPECT_EQ(pthread_mutex_trylock(HistoryDataRing->lock), EBUSY); }).join();
  const std::string image = cacheBytes();
  seen += exists(kTemporaryFile) && read(kTemporaryFile) == image ? "temporary file whole" : "";
  return seen + (read(kDataFile) == image ? "data file new" : "");
}

BOARD_TEST(PowerCut, FindsTheImageOnTheMediumBeforeItHasItsName) {
  ASSERT_EQ(historyDataInit(), 0);
  const std::tuple<const char *, unsigned, std::string> rows[] = {
      {"fsync", 1, kTemporaryFile + " is open, temporary file whole"},
      {"fclose", 1, kTemporaryFile + " is open, temporary file whole"},
      {"rename", 1, "temporary file whole"},
      {"fsync", 2, "/extlog/syslog is open, data file new"}};
  for (const auto &[call, nth, before] : rows) {
    ASSERT_EQ(InitHistoryDatFile(), 0);
    std::string seen;
    insteadOfDying = [&] { seen = lookAround(); };
    const FailCall moment(call, nth, EIO, Strike::kKill);
    board.clock.advance(kHour);
    board.sample();
    insteadOfDying = {};
    EXPECT_EQ(seen, before) << call << ' ' << nth;
  }
}

BOARD_TEST(PowerCut, FailingCallsLeaveNoFileOrAWholeOne) {
  ASSERT_EQ(historyDataInit(), 0);
  ASSERT_EQ(board.sample(), 0);
  sensors.calls.reserve(1000);
  const std::pair<std::string_view, std::vector<int>> rows[] = {
  // the results by the number of the failing call
#ifndef VEXORA_SANITIZED
      {kAnyAllocation, {}},  // the C library's own, not all of which matter
#endif
      {"fopen", {-1}},      {"fwrite", {-1, -1}},
      {"fflush", {-1, -1}}, {"fsync", {-1, 0}},  // once the new file has its name, nothing takes it back
      {"fclose", {-1}},     {"rename", {-1}},
      {"open", {0}},        {"close", {0}}};
  for (const auto &[call, results] : rows) {
    int result = -1;
    const int descriptors = openDescriptors();
    const HeapWatch heap;
    const auto sample = [&] {
      board.clock.advance(kHour);
      result = board.sample();
    };
    const auto check = [&, &expected = results, name = call](unsigned n) {
      SCOPED_TRACE(testing::Message() << name << ' ' << n);
      EXPECT_EQ(result, expected.empty() ? result : expected.at(n - 1));
      const bool stored = result == 0;
      EXPECT_EQ(board.log.take(), stored ? kNoReports : (std::vector{kNotWritten, kGivenUp}));
      EXPECT_EQ(exists(kDataFile), stored);
      EXPECT_TRUE(!stored || read(kDataFile) == cacheBytes());
      EXPECT_EQ(RecTmpData.sensor_3009.samples, stored ? 0U : 1U);
      EXPECT_EQ(openDescriptors(), descriptors);
      const std::uint32_t cached = HistoryDataRing->count;
      EXPECT_EQ(board.sample(), 0);
      EXPECT_EQ(HistoryDataRing->count, cached) << "which has the record of a failed attempt, to merge with";
      EXPECT_TRUE(read(kDataFile) == cacheBytes());
      EXPECT_FALSE(exists(kTemporaryFile));
    };
    const unsigned failures = failEach(call, EIO, sample, check);
    EXPECT_TRUE(results.empty() ? failures > 0 : failures == results.size()) << call;
#ifndef VEXORA_SANITIZED
    EXPECT_EQ(heap.growth(), 0);
#endif
  }
  const FailCall interrupted("fsync", 1, EINTR);
  board.clock.advance(kHour);
  EXPECT_EQ(board.sample(), 0);
}

TEST(PowerCut, AWriterKilledBeforeAnyCallLeavesTheOldImageOrTheNew) {
  clearRoot();
  const Image older = hourly(5, kNoon - 5 * kHour);
  Image newer = older;
  Record added = recordAt(kNoon);
  added.sensor_3009 = added.sensor_7000 = {6, 6, 6};
  newer.push(added);
  unsigned newOnes = 0;
  unsigned deaths = 0;
  for (int status = -1; status != 0; ++deaths) {
    write(kDataFile, older.bytes());
    status = runInChild([&]() noexcept {
      const FailCall death(kAnyFileCall, deaths + 1, 0, Strike::kKill);
      Board board;
      ASSERT_EQ(historyDataInit(), 0);
      EXPECT_EQ(board.sampleAt(kNoon, 6, 6), 0);
    });
    ASSERT_TRUE(status == 0 || status == 128 + SIGKILL);
    const bool isNew = read(kDataFile) == newer.bytes();
    newOnes += isNew ? 1 : 0;
    const PlatformLog log;
    EXPECT_EQ(historyDataInit(), 0);
    EXPECT_TRUE(cacheBytes() == (isNew ? newer : older).bytes()) << "killed before call " << deaths + 1;
    freeCache();
  }
  EXPECT_TRUE(read(kDataFile) == newer.bytes());
  EXPECT_GE(newOnes, 4U);          // died with the folder's open, sync and close, or not at all
  EXPECT_GE(deaths, newOnes + 8);  // and before that with the file's
}

}  // namespace
}  // namespace vexora::test
