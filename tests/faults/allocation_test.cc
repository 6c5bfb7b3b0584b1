// SPDX-License-Identifier: Apache-2.0
//
// Each allocation of a call fails in turn, at first alone, then with all that follow.
#include "history/board.h"
#include "support/faults.h"
#include "vexora/containers.h"

namespace vexora::test {
namespace {

constexpr Strike kStrikes[] = {Strike::kOnce, Strike::kFromThenOn};
constexpr unsigned kRingBlocks = 3;  // handle, lock, storage

const PlatformMessage kNoRing = report(130, "Init HistoryDataRing fail");
const PlatformMessage kNotCreated = report(130, "Init History Dat File Fail");

template <typename Ring>
void expectAllOrNothing(Ring *(*init)(unsigned, unsigned), int (*release)(Ring *)) {
  const HeapWatch heap;
  Ring *ring = nullptr;
  const auto make = [&] { ring = init(28, 10); };
  const auto expectNothing = [&](unsigned) {
    EXPECT_EQ(ring, nullptr);
    EXPECT_EQ(heap.growth(), 0);
  };
  for (const Strike strike : kStrikes) {
    EXPECT_EQ(failEach(kAnyAllocation, ENOMEM, make, expectNothing, strike), kRingBlocks);
    EXPECT_EQ(release(ring), 0);
  }
  EXPECT_EQ(failEach("pthread_mutex_init", ENOMEM, make, expectNothing), 1U);
  EXPECT_EQ(release(ring), 0);
  EXPECT_EQ(heap.growth(), 0);
}

TEST(Allocation, MakesARingWholeOrNotAtAll) {
  expectAllOrNothing(&vexora_ringlist_init, &vexora_ringlist_free);
  expectAllOrNothing(&vexora_ringq_init, &vexora_ringq_free);
}

void expectStartsOrFailsCleanly(const std::string &file, const std::vector<PlatformMessage> &withoutRing) {
  const auto restore = [&] { file.empty() ? remove(kDataFile) : write(kDataFile, file); };
  PlatformLog log;
  for (const Strike strike : kStrikes) {
    restore();
    int result = 0;
    const HeapWatch heap;
    const unsigned failures = failEach(
        kAnyAllocation, ENOMEM, [&] { result = historyDataInit(); },
        [&](unsigned n) {
          EXPECT_EQ(result == 0, HistoryDataRing != nullptr) << n;
          EXPECT_TRUE(result == -1 || cacheBytes() == read(kDataFile));
          const auto reports = takeReports(log);
          EXPECT_EQ(result == -1, !reports.empty()) << n;
          if (n <= kRingBlocks) {
            EXPECT_EQ(reports, withoutRing);
            EXPECT_EQ(exists(kDataFile), !file.empty());
          }
          EXPECT_TRUE(!exists(kDataFile) || read(kDataFile) == (file.empty() ? Image().bytes() : file));
          vexora_ringlist_free(std::exchange(HistoryDataRing, nullptr));
          restore();
        },
        strike);
    EXPECT_GT(failures, kRingBlocks);
    EXPECT_EQ(result, 0);
    vexora_ringlist_free(std::exchange(HistoryDataRing, nullptr));
    EXPECT_EQ(heap.growth(), 0);
  }
}

TEST(Allocation, StartsTheRecorderOrFailsCleanly) {
  clearRoot();
  const int descriptors = openDescriptors();
  expectStartsOrFailsCleanly(hourly(9, kNoon).bytes(), {kNoRing});
  expectStartsOrFailsCleanly({}, {kNoRing, kNotCreated});
  EXPECT_EQ(historyDataInit(), 0);
  const HeapWatch heap;
  EXPECT_EQ(historyDataInit(), 0);
  EXPECT_EQ(heap.growth(), 0) << "the cache loaded before is freed";
  vexora_ringlist_free(std::exchange(HistoryDataRing, nullptr));
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(Allocation, AnswersAQueryOrRefusesIt) {
  clearRoot();
  write(kDataFile, hourly(2, kNoon).bytes());
  const int descriptors = openDescriptors();
  for (const Strike strike : kStrikes) {
    const HeapWatch heap;
    int result = 0;
    std::uint32_t count = 0;
    Record out[2] = {};
    const auto query = [&] {
      count = 0;
      out[0].time = 7;
      result = getHistoryData(out, 4, 1, 0xFFFFFFFF, &count);
    };
    const unsigned failures = failEach(
        kAnyAllocation, ENOMEM, query,
        [&](unsigned n) {
          EXPECT_TRUE(result == -1 || (n > 1 && result == 56)) << n;
          EXPECT_EQ(count, result == -1 ? 0U : 2U);
          EXPECT_EQ(out[0].time, result == -1 ? 7U : kNoon);
          EXPECT_EQ(getHistoryDataFlag, 0);
          EXPECT_EQ(heap.growth(), 0);
        },
        strike);
    EXPECT_GE(failures, 1U);
    EXPECT_EQ(result, 56);
    EXPECT_EQ(heap.growth(), 0);
  }
  EXPECT_EQ(openDescriptors(), descriptors);
}

BOARD_TEST(Allocation, StoresARecordOrTriesAgain) {
  ASSERT_EQ(historyDataInit(), 0);
  ASSERT_EQ(board.sample(), 0);
  sensors.calls.reserve(200);
  const int descriptors = openDescriptors();
  for (const Strike strike : kStrikes) {
    const HeapWatch heap;
    int result = 0;
    int failed = 0;
    const auto sample = [&] {
      board.clock.advance(kHour);
      result = board.sample();
    };
    failEach(
        kAnyAllocation, ENOMEM, sample,
        [&](unsigned) {
          EXPECT_EQ(board.takeReports(), result == 0 ? kNoReports : (std::vector{kNotWritten, kGivenUp}));
          EXPECT_EQ(exists(kDataFile), result == 0);
          EXPECT_EQ(RecTmpData.sensor_3009.samples, result == 0 ? 0U : 1U);
          failed += result == 0 ? 0 : 1;
          sample();
          EXPECT_EQ(result, 0);
          EXPECT_TRUE(read(kDataFile) == cacheBytes());
        },
        strike);
    EXPECT_GT(failed, 0);
    EXPECT_EQ(heap.growth(), 0);
  }
  EXPECT_EQ(openDescriptors(), descriptors);
}

}  // namespace
}  // namespace vexora::test
