// SPDX-License-Identifier: Apache-2.0
//
// What a writer that fails or dies leaves behind: the old data file or the new one, whole.
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>
#include <random>
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

// The recorder's folder at one moment of a rewrite.
struct Moment {
  std::vector<std::string> open;  // by this process, in the folder or the folder itself
  bool temporaryFileIsWhole = false;
  bool dataFileIsNew = false;
  bool operator==(const Moment &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Moment &moment) {
  return stream << testing::PrintToString(moment.open) << ", temporary file whole " << moment.temporaryFileIsWhole
                << ", data file new " << moment.dataFileIsNew;
}

Moment lookAround() {
  Moment moment;
  for (const std::string &number : list("/proc/self/fd")) {
    char target[256] = {};
    if (readlink(("/proc/self/fd/" + number).c_str(), target, sizeof target - 1) > 0 &&
        std::string_view(target).starts_with("/extlog/syslog")) {
      moment.open.emplace_back(target);
    }
  }
  // A clear that finds its way in here would have its removed file brought back by the rename.
  std::thread([] {
    const int result = pthread_mutex_trylock(HistoryDataRing->lock);
    EXPECT_EQ(result, EBUSY);
    if (result == 0) {
      pthread_mutex_unlock(HistoryDataRing->lock);
    }
  }).join();
  const std::string image = cacheBytes();
  moment.temporaryFileIsWhole = exists(kTemporaryFile) && read(kTemporaryFile) == image;
  moment.dataFileIsNew = read(kDataFile) == image;
  return moment;
}

BOARD_TEST(PowerCut, FindsTheImageOnTheMediumBeforeItHasItsName) {
  ASSERT_EQ(historyDataInit(), 0);
  struct Row {
    const char *call;
    unsigned nth;
    Moment before;
  };
  const Row rows[] = {{"fsync", 1, {{kTemporaryFile}, true, false}},
                      {"fclose", 1, {{kTemporaryFile}, true, false}},
                      {"rename", 1, {{}, true, false}},
                      {"fsync", 2, {{"/extlog/syslog"}, false, true}}};
  for (const Row &row : rows) {
    ASSERT_EQ(InitHistoryDatFile(), 0);
    Moment seen;
    insteadOfDying = [&] { seen = lookAround(); };
    const FailCall moment(row.call, row.nth, EIO, Strike::kKill);
    board.clock.advance(kHour);
    board.sample();
    insteadOfDying = {};
    EXPECT_EQ(seen, row.before) << row.call << ' ' << row.nth;
  }
}

BOARD_TEST(PowerCut, FailingCallsLeaveNoFileOrAWholeOne) {
  ASSERT_EQ(historyDataInit(), 0);
  struct Row {
    const char *call;
    std::vector<int> results;  // by the number of the failing call
  };
  // Once the new file has its name, what happens to the folder's descriptor takes nothing back.
  const Row rows[] = {{"fopen", {-1}},  {"fwrite", {-1, -1}}, {"fflush", {-1, -1}}, {"fsync", {-1, 0}},
                      {"fclose", {-1}}, {"rename", {-1}},     {"open", {0}},        {"close", {0}}};
  for (const Row &row : rows) {
    int result = -1;
    const int descriptors = openDescriptors();
    const auto sample = [&] {
      board.clock.advance(kHour);
      result = board.sample();
    };
    const unsigned failures = failEach(row.call, EIO, sample, [&](unsigned n) {
      SCOPED_TRACE(testing::Message() << row.call << ' ' << n);
      ASSERT_LE(n, row.results.size());
      EXPECT_EQ(result, row.results[n - 1]);
      const bool stored = result == 0;
      EXPECT_EQ(board.takeReports(), stored ? kNoReports : (std::vector{kNotWritten, kGivenUp}));
      EXPECT_EQ(exists(kDataFile), stored);
      EXPECT_TRUE(!stored || read(kDataFile) == cacheBytes());
      EXPECT_EQ(RecTmpData.sensor_3009.samples == 0, stored);
      EXPECT_EQ(openDescriptors(), descriptors);
      sample();
      EXPECT_EQ(result, 0);
    });
    EXPECT_EQ(failures, row.results.size()) << row.call;
    EXPECT_TRUE(read(kDataFile) == cacheBytes());
  }
  const FailCall interrupted("fsync", 1, EINTR);
  board.clock.advance(kHour);
  EXPECT_EQ(board.sample(), 0);
}

// The nth record of the writers below, who sample the figure n.
Record hourOf(unsigned n) {
  Record record = recordAt(kNoon + static_cast<std::time_t>(n) * kHour);
  const auto figure = static_cast<std::uint16_t>(n);
  record.sensor_3009 = record.sensor_7000 = {figure, figure, figure};
  return record;
}

Image history(unsigned number) {
  Image image;
  for (unsigned n = 1; n <= number; ++n) {
    image.push(hourOf(n));
  }
  return image;
}

void expectLoads(const Image &image) {
  PlatformLog log;
  EXPECT_EQ(historyDataInit(), 0);
  EXPECT_TRUE(cacheBytes() == image.bytes());
  EXPECT_EQ(log.take(), kNoReports);
  vexora_ringlist_free(std::exchange(HistoryDataRing, nullptr));
}

// Runs `body` in processes that die just before their 1st, 2nd, 3rd ... file call, with `check` after each, until one
// gets through.
unsigned killBeforeEachFileCall(const std::function<void()> &body, const std::function<void()> &check) {
  for (unsigned n = 1;; ++n) {
    const int status = runInChild([&]() noexcept {
      const FailCall death(kAnyFileCall, n, 0, Strike::kKill);
      body();
    });
    if (status != 128 + SIGKILL) {
      EXPECT_EQ(status, 0);
      return n - 1;
    }
    SCOPED_TRACE(testing::Message() << "killed before call " << n);
    check();
  }
}

TEST(PowerCut, AWriterKilledBeforeAnyCallLeavesTheOldImageOrTheNew) {
  clearRoot();
  const Image older = history(5);
  const Image newer = history(6);
  write(kDataFile, older.bytes());
  unsigned newOnes = 0;
  const unsigned deaths = killBeforeEachFileCall(
      [] {
        Board board;
        ASSERT_EQ(historyDataInit(), 0);
        EXPECT_EQ(board.sampleAt(kNoon + 6 * kHour, 6, 6), 0);
      },
      [&] {
        const bool isNew = read(kDataFile) == newer.bytes();
        newOnes += isNew ? 1 : 0;
        expectLoads(isNew ? newer : older);
        write(kDataFile, older.bytes());
      });
  EXPECT_GE(newOnes, 3U);          // died with the folder's open, sync and close
  EXPECT_GE(deaths, newOnes + 8);  // and before that with the file's
  expectLoads(newer);
}

TEST(PowerCut, AStartKilledBeforeAnyCallIsMadeGoodByTheNext) {
  clearRoot();
  const auto deaths = killBeforeEachFileCall([] { ASSERT_EQ(historyDataInit(), 0); },
                                             [] {
                                               const PlatformLog log;
                                               EXPECT_EQ(historyDataInit(), 0);
                                               vexora_ringlist_free(std::exchange(HistoryDataRing, nullptr));
                                               expectLoads(Image());
                                               remove(kDataFile);
                                             });
  EXPECT_GE(deaths, 8U);
}

TEST(PowerCut, AWriterKilledAtAnyMomentLeavesTheOldImageOrTheNew) {
  clearRoot();
  using Counter = std::atomic<unsigned>;
  void *const page = mmap(nullptr, sizeof(Counter), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(page, MAP_FAILED);
  Counter &stored = *new (page) Counter(0);
  std::mt19937 random(53);
  for (int round = 0; round < 60; ++round) {
    stored = 0;
    write(kDataFile, Image().bytes());
    const pid_t writer = fork();
    if (writer == 0) {
      Board board;
      for (int n = 1; n == 1 ? historyDataInit() == 0 : true; ++n) {
        board.sampleAt(kNoon + n * kHour, n, n);
        stored = static_cast<unsigned>(n);
      }
      _exit(1);
    }
    int status = 0;
    const auto records = static_cast<unsigned>(random() % 5);
    while (stored < records && waitpid(writer, &status, WNOHANG) == 0) {
    }
    // Somewhere within the next few.
    const auto death = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 2000);
    while (std::chrono::steady_clock::now() < death) {
    }
    kill(writer, SIGKILL);
    ASSERT_EQ(waitpid(writer, &status, 0), writer);
    ASSERT_TRUE(WIFSIGNALED(status));
    const std::string file = read(kDataFile);
    Image image = history(stored);
    const bool isOld = file == image.bytes();
    ASSERT_TRUE(isOld || file == image.push(hourOf(stored + 1)).bytes()) << "after record " << stored;
  }
  munmap(page, sizeof(Counter));
}

}  // namespace
}  // namespace vexora::test
