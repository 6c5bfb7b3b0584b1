// SPDX-License-Identifier: Apache-2.0
//
// The data file: what a start makes of any, and what a writer that fails or dies leaves behind.
#include <fcntl.h>
#include <sys/syscall.h>
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
const PlatformMessage kNoRing = report(130, "Init HistoryDataRing fail");

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

// A letter for each report of a start.
std::string letters(const std::vector<PlatformMessage> &reports) {
  const std::pair<PlatformMessage, char> known[] = {
      {kNotOpened, 'o'}, {kNotCreated, 'c'}, {kHeaderNotWritten, 'H'}, {kSlotsNotWritten, 'S'}, {kNoHeader, 'h'},
      {kNoSlots, 's'},   {kNoRing, 'r'}};
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
  for (const auto &[file, reports, withoutRing] : rows) {
    const auto restore = [&, &contents = file] {
      freeCache();
      contents.empty() ? remove(kDataFile) : write(kDataFile, contents);
      log_.take();
    };
    const auto failIn = [&, &row = reports, &noRing = withoutRing, missing = file.empty()](std::string_view group) {
      int result = 0;
      const int descriptors = openDescriptors();
      const auto check = [&](unsigned n) {
        SCOPED_TRACE(testing::Message() << row.size() << " calls, " << group << ' ' << n);
        const std::string now = letters(log_.take());
        const bool calls = group == kAnyFileCall;
        EXPECT_TRUE(now == (calls ? row.at(n - 1) : noRing) || (!calls && n > 3)) << now;
        const bool started = now.empty() || now.back() == 'h' || now.back() == 's';
        EXPECT_EQ(result, started ? 0 : -1);
        EXPECT_EQ(HistoryDataRing != nullptr, started);
        EXPECT_TRUE(!started || read(kDataFile) == cacheBytes());
        EXPECT_EQ(exists(kDataFile), !missing || (now != "oc" && now != "rc"));
        EXPECT_EQ(openDescriptors(), descriptors);
        EXPECT_EQ(historyDataInit(), 0);
        EXPECT_TRUE(read(kDataFile) == cacheBytes());
        restore();
      };
      restore();
      EXPECT_GT(failEach(
                    group, ENOSPC, [&] { result = historyDataInit(); }, check),
                group == kAnyFileCall ? row.size() - 1 : 3);
      EXPECT_EQ(result, 0);
      restore();
    };
    failIn(kAnyFileCall);
#ifndef VEXORA_SANITIZED
    const HeapWatch heap;
    failIn(kAnyAllocation);
    EXPECT_EQ(heap.growth(), 0);
#endif
  }
}

// A query of all that a file of three records holds, for a caller whose count was 7 before.
std::uint32_t queriedCount;
int query() {
  static Record room[3];
  queriedCount = 7;
  return getHistoryData(room, 4, 1, 0xFFFFFFFF, &queriedCount);
}

TEST_F(HistoryFile, ThatCannotBeReadFailsAQueryCleanly) {
  const std::string file = hourly(3, kNoon).bytes();
  write(kDataFile, file);
  const int descriptors = openDescriptors();
  const HeapWatch heap;
  int result = 0;
  const auto check = [&](unsigned n) {
    EXPECT_EQ(result, -1) << n;
    EXPECT_EQ(queriedCount, 7U) << n;
    EXPECT_EQ(getHistoryDataFlag, 0) << n;
    EXPECT_EQ(openDescriptors(), descriptors) << n;
  };
  for (const auto &[call, failures] : {std::pair{"fopen", 1U},
#ifndef VEXORA_SANITIZED
                                       {kAnyAllocation.data(), 2U},
#endif
                                       {"fread", 2U}}) {
    EXPECT_EQ(failEach(
                  call, EIO, [&] { result = query(); }, check),
              failures)
        << call;
    EXPECT_EQ(result, 3 * 28) << call;
    EXPECT_EQ(queriedCount, 10U) << call;
  }
#ifndef VEXORA_SANITIZED
  EXPECT_EQ(heap.growth(), 0);
#endif
  EXPECT_TRUE(read(kDataFile) == file);
  EXPECT_EQ(log_.take(), kNoReports);
}

// What this process has open of the recorder's, and no child inherits.
std::string openFiles() {
  std::string seen;
  for (const std::string &number : list("/proc/self/fd")) {
    char target[256] = {};
    if (readlink(("/proc/self/fd/" + number).c_str(), target, sizeof target - 1) > 0 &&
        std::string_view(target).starts_with("/extlog/syslog")) {
      seen.append(target).append(" is open, ");
      EXPECT_EQ(fcntl(std::stoi(number), F_GETFD), FD_CLOEXEC) << target;
    }
  }
  return seen;
}

TEST_F(HistoryFile, IsOpenForThisProcessAlone) {
  std::string seen;
  insteadOfDying = [&] { seen = openFiles(); };
  const std::pair<const char *, int (*)()> rows[] = {
      {"fwrite", InitHistoryDatFile}, {"fread", InitHistoryDataCache}, {"fread", query}};
  for (const auto &[call, work] : rows) {
    seen.clear();
    const FailCall moment(call, 1, EIO, Strike::kKill);
    work();
    EXPECT_EQ(seen, kDataFile + " is open, ") << call;
  }
  insteadOfDying = {};
}

// The recorder's folder at one moment of a rewrite: what this process has open there, and what is in place.
std::string lookAround() {
  std::string seen = openFiles();
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
  const auto failIn = [&](std::string_view call, const std::vector<int> &results) {
    int result = -1;
    const int descriptors = openDescriptors();
    const auto sample = [&] {
      board.clock.advance(kHour);
      result = board.sample();
    };
    const auto check = [&](unsigned n) {
      SCOPED_TRACE(testing::Message() << call << ' ' << n);
      EXPECT_EQ(result, results.empty() ? result : results.at(n - 1));
      const bool stored = result == 0;
      EXPECT_EQ(board.log.take(), stored ? kNoReports : (std::vector{kNotWritten, kGivenUp}));
      EXPECT_EQ(exists(kDataFile), stored);
      EXPECT_TRUE(results.empty() || exists(kTemporaryFile) == (!stored && call != "fopen"));
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
  };
  failIn("fopen", {-1});  // once before the heap is watched: what C library and test framework make and keep
  const std::pair<std::string_view, std::vector<int>> rows[] = {
  // the results by the number of the failing call
#ifndef VEXORA_SANITIZED
      {kAnyAllocation, {}},  // the C library's own, not all of which matter
#endif
      {"fwrite", {-1, -1}}, {"fflush", {-1, -1}}, {"fsync", {-1, 0}},  // the new file, once it has its name, stays
      {"fclose", {-1}},     {"rename", {-1}},     {"open", {0}},      {"close", {0}}};
  for (const auto &[call, results] : rows) {
    const HeapWatch heap;
    failIn(call, results);
#ifndef VEXORA_SANITIZED
    EXPECT_EQ(heap.growth(), 0) << call;
#endif
  }
  // Interrupted, or refused by a medium that can't be synced.
  for (const int error : {EINTR, EINVAL, ENOSYS}) {
    const FailCall notSynced("fsync", 1, error);
    board.clock.advance(kHour);
    EXPECT_EQ(board.sample(), 0) << error;
  }
}

TEST(PowerCut, AWriterKilledBeforeAnyCallLeavesTheOldImageOrTheNew) {
  clearRoot();
  const Image older = hourly(5, kNoon - 5 * kHour);
  Image newer = older;
  Record added = recordAt(kNoon);
  added.sensor_3009 = added.sensor_7000 = {6, 6, 6};
  newer.push(added);
  // A cut inside a rename may leave the file with both names.
  for (const bool hasBothNames : {false, true}) {
    unsigned newOnes = 0;
    unsigned deaths = 0;
    for (int status = -1; status != 0; ++deaths) {
      SCOPED_TRACE(testing::Message() << "killed before call " << deaths + 1 << (hasBothNames ? ", both names" : ""));
      write(kDataFile, older.bytes());
      remove(kTemporaryFile);
      hasBothNames ? std::filesystem::create_hard_link(kDataFile, kTemporaryFile) : write(kTemporaryFile, "cut");
      std::ifstream reader(kDataFile);
      status = runInChild([&]() noexcept {
        const FailCall death(kAnyFileCall, deaths + 1, 0, Strike::kKill);
        Board board;
        ASSERT_EQ(historyDataInit(), 0);
        EXPECT_EQ(board.sampleAt(kNoon, 6, 6), 0);
      });
      ASSERT_TRUE(status == 0 || status == 128 + SIGKILL);
      EXPECT_TRUE(std::string(std::istreambuf_iterator(reader), {}) == older.bytes());
      const bool isNew = read(kDataFile) == newer.bytes();
      newOnes += isNew ? 1 : 0;
      const PlatformLog log;
      EXPECT_EQ(historyDataInit(), 0);
      EXPECT_TRUE(cacheBytes() == (isNew ? newer : older).bytes());
      freeCache();
    }
    EXPECT_TRUE(read(kDataFile) == newer.bytes());
    EXPECT_EQ(list("/extlog/syslog"), std::vector<std::string>{"history_data.dat"});
    EXPECT_GE(newOnes, 4U);          // died with the folder's open, sync and close, or not at all
    EXPECT_GE(deaths, newOnes + 8);  // and before that with the file's
  }
}

BOARD_TEST(PowerCut, ALinkInTheTemporaryFilesPlaceStays) {
  ASSERT_EQ(historyDataInit(), 0);
  std::filesystem::create_hard_link(kDataFile, "/extlog/syslog/elsewhere");
  std::filesystem::create_symlink("elsewhere", kTemporaryFile);
  EXPECT_EQ(board.sample(), 0);
  EXPECT_EQ(std::filesystem::read_symlink(kDataFile), "elsewhere");
  EXPECT_TRUE(read("/extlog/syslog/elsewhere") == cacheBytes());
}

}  // namespace
}  // namespace vexora::test
