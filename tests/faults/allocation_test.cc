// SPDX-License-Identifier: Apache-2.0
//
// Each allocation of a call fails in turn: the call fails as documented or does without, and nothing leaks.
#include "history/board.h"
#include "support/faults.h"
#include "vexora/containers.h"

namespace vexora::test {
namespace {

constexpr unsigned kRingBlocks = 3;  // handle, lock, storage

template <typename Ring>
void expectAllOrNothing(Ring *(*init)(unsigned, unsigned), int (*release)(Ring *)) {
  for (const auto &[name, failures] : {std::pair(kAnyAllocation, kRingBlocks), {"pthread_mutex_init", 1U}}) {
    const HeapWatch heap;
    Ring *ring = nullptr;
    const unsigned failed = failEach(
        name, ENOMEM, [&] { ring = init(28, 10); },
        [&](unsigned) {
          EXPECT_EQ(ring, nullptr);
          EXPECT_EQ(heap.growth(), 0);
        });
    EXPECT_EQ(failed, failures);
    EXPECT_EQ(release(ring), 0);
    EXPECT_EQ(heap.growth(), 0);
  }
}

TEST(Allocation, MakesARingWholeOrNotAtAll) {
  expectAllOrNothing(&vexora_ringlist_init, &vexora_ringlist_free);
  expectAllOrNothing(&vexora_ringq_init, &vexora_ringq_free);
}

void expectStartsOrFailsCleanly(const std::string &file, const std::vector<PlatformMessage> &withoutRing) {
  const auto restore = [&] { file.empty() ? remove(kDataFile) : write(kDataFile, file); };
  const std::string whole = file.empty() ? Image().bytes() : file;
  PlatformLog log;
  const HeapWatch heap;
  int result = 0;
  restore();
  const unsigned failures = failEach(
      kAnyAllocation, ENOMEM, [&] { result = historyDataInit(); },
      [&](unsigned n) {
        const auto reports = takeReports(log);
        EXPECT_EQ(reports.empty(), result == 0) << n;
        EXPECT_TRUE(n > kRingBlocks || reports == withoutRing) << n;
        EXPECT_EQ(HistoryDataRing != nullptr, result == 0) << n;
        EXPECT_TRUE(result == -1 || cacheBytes() == whole) << n;
        EXPECT_TRUE(exists(kDataFile) ? read(kDataFile) == whole : file.empty()) << n;
        vexora_ringlist_free(std::exchange(HistoryDataRing, nullptr));
        restore();
      });
  EXPECT_GT(failures, kRingBlocks);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(historyDataInit(), 0) << "a second time, which frees the cache of the first";
  vexora_ringlist_free(std::exchange(HistoryDataRing, nullptr));
  EXPECT_EQ(heap.growth(), 0);
}

TEST(Allocation, StartsTheRecorderOrFailsCleanly) {
  clearRoot();
  const int descriptors = openDescriptors();
  const PlatformMessage noRing = report(130, "Init HistoryDataRing fail");
  expectStartsOrFailsCleanly(hourly(9, kNoon).bytes(), {noRing});
  expectStartsOrFailsCleanly({}, {noRing, report(130, "Init History Dat File Fail")});
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(Allocation, AnswersAQueryOrRefusesIt) {
  clearRoot();
  write(kDataFile, hourly(2, kNoon).bytes());
  const int descriptors = openDescriptors();
  const HeapWatch heap;
  int result = 0;
  std::uint32_t count = 0;
  Record out[2] = {};
  const auto query = [&] {
    count = 0;
    out[0].time = 7;
    result = getHistoryData(out, 4, 1, 0xFFFFFFFF, &count);
  };
  const unsigned failures = failEach(kAnyAllocation, ENOMEM, query, [&](unsigned n) {
    EXPECT_TRUE(result == -1 || (n > 1 && result == 56)) << n;
    EXPECT_EQ(count, result == -1 ? 0U : 2U);
    EXPECT_EQ(out[0].time, result == -1 ? 7U : kNoon);
    EXPECT_EQ(getHistoryDataFlag, 0);
    EXPECT_EQ(heap.growth(), 0);
  });
  EXPECT_GE(failures, 1U);
  EXPECT_EQ(result, 56);
  EXPECT_EQ(heap.growth(), 0);
  EXPECT_EQ(openDescriptors(), descriptors);
}

BOARD_TEST(Allocation, StoresARecordOrTriesAgain) {
  ASSERT_EQ(historyDataInit(), 0);
  ASSERT_EQ(board.sample(), 0);
  sensors.calls.reserve(200);
  const int descriptors = openDescriptors();
  const HeapWatch heap;
  int result = 0;
  int failed = 0;
  const auto sample = [&] {
    board.clock.advance(kHour);
    result = board.sample();
  };
  failEach(kAnyAllocation, ENOMEM, sample, [&](unsigned) {
    EXPECT_EQ(board.takeReports(), result == 0 ? kNoReports : (std::vector{kNotWritten, kGivenUp}));
    EXPECT_EQ(exists(kDataFile), result == 0);
    EXPECT_EQ(RecTmpData.sensor_3009.samples, result == 0 ? 0U : 1U);
    failed += result == 0 ? 0 : 1;
    sample();
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(read(kDataFile) == cacheBytes());
  });
  EXPECT_GT(failed, 0);
  EXPECT_EQ(heap.growth(), 0);
  EXPECT_EQ(openDescriptors(), descriptors);
}

}  // namespace
}  // namespace vexora::test
