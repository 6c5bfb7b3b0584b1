// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include "history/board.h"
#include "support/faults.h"

namespace vexora::test {
namespace {

// The beginning of an empty history, byte for byte.
const std::string kFreshHeader("\0\0\0\0\x37\x22\0\0\x1C\0\0\0\x38\x22\0\0\0\0\0\0", 20);
const std::string kFreshFile = kFreshHeader + std::string(245'280, '\0');

const PlatformMessage kNotOpened = report(130, "Open History Dat File Fail");
const PlatformMessage kHeaderNotWritten = report(130, "Open History Data Head To File Fail");
const PlatformMessage kSlotsNotWritten = report(130, "Open History Data To File Fail");
const PlatformMessage kNotCreated = report(130, "Init History Dat File Fail");
const PlatformMessage kNoHeader = report(130, "Read History Dat File Head Fail, Reinit History Dat File");
const PlatformMessage kForeignHeader = report(130, "History Dat File Head Param Error, Reinit History Dat File");
const PlatformMessage kNoSlots = report(130, "Read History Dat File Data Fail, Reinit History Dat File");

class HistoryFile : public RootTest {
 protected:
  void SetUp() override {
    RootTest::SetUp();
    RecTmpData.sensor_3009.sum = 77;
  }
  void TearDown() override {
    vexora_ringlist_free(HistoryDataRing);
    HistoryDataRing = nullptr;
  }
  std::vector<PlatformMessage> takeReports() { return test::takeReports(log_); }

  // The recorder starts with this file and replaces it by an empty history.
  void expectReplaced(const std::string &file, const PlatformMessage &reason) {
    write(kDataFile, file);
    EXPECT_EQ(historyDataInit(), 0);
    EXPECT_EQ(takeReports(), std::vector{reason});
    EXPECT_TRUE(read(kDataFile) == kFreshFile);
    EXPECT_TRUE(cacheBytes() == kFreshFile);
  }
  // The recorder starts with this file and takes it as it is.
  void expectLoaded(const std::string &file) {
    write(kDataFile, file);
    EXPECT_EQ(historyDataInit(), 0);
    EXPECT_EQ(takeReports(), kNoReports);
    EXPECT_TRUE(read(kDataFile) == file);
    EXPECT_TRUE(cacheBytes() == file.substr(0, kImageSize));
  }

 private:
  PlatformLog log_;
};

TEST_F(HistoryFile, IsCreatedEmptyByTheFirstStart) {
  EXPECT_EQ(historyDataInit(), 0);
  EXPECT_TRUE(read(kDataFile) == kFreshFile);
  EXPECT_TRUE(cacheBytes() == kFreshFile);
  EXPECT_EQ(list("/extlog/syslog"), std::vector<std::string>{"history_data.dat"});
  const vexora_history_hour nothing{};
  EXPECT_EQ(std::memcmp(&RecTmpData, &nothing, 36), 0);
  write(kDataFile, std::string(300'000, 'x'));
  EXPECT_EQ(InitHistoryDatFile(), 0);
  EXPECT_TRUE(read(kDataFile) == kFreshFile);
  EXPECT_EQ(takeReports(), kNoReports);
}

TEST_F(HistoryFile, WithAForeignHeaderIsReplaced) {
  struct Row {
    std::uint32_t Image::*field;
    std::vector<std::uint32_t> values;
  };
  const Row rows[] = {{&Image::head, {8760, 0xFFFFFFFF}},
                      {&Image::tail, {8760, 0xFFFFFFFF}},
                      {&Image::itemSize, {0, 27, 29, 32}},
                      {&Image::capacity, {0, 8759, 8761}},
                      {&Image::count, {8761, 0xFFFFFFFF}}};
  for (const Row &row : rows) {
    for (const std::uint32_t value : row.values) {
      Image image = hourly(30, kNoon);
      image.*row.field = value;
      SCOPED_TRACE(testing::PrintToString(image.bytes().substr(0, 20)));
      expectReplaced(image.bytes(), kForeignHeader);
    }
  }
}

TEST_F(HistoryFile, CutShortIsReplaced) {
  const std::string whole = hourly(8760, kNoon).bytes();
  for (std::size_t length = 0; length < whole.size(); length += length <= 20 ? 1 : 24'517) {
    SCOPED_TRACE(length);
    expectReplaced(whole.substr(0, length), length < 20 ? kNoHeader : kNoSlots);
  }
  expectReplaced(whole.substr(0, whole.size() - 1), kNoSlots);
}

TEST_F(HistoryFile, LoadsUnchangedUpToTheLimitsOfItsHeader) {
  Image image = hourly(kSlots + 5, kNoon);
  EXPECT_EQ(image.head, 5U);
  expectLoaded(image.bytes());
  Record oldest{};
  EXPECT_EQ(vexora_ringlist_get_head(HistoryDataRing, &oldest), 0);
  EXPECT_EQ(oldest.time, kNoon + 5 * kHour);
  image.head = image.tail = 8759;
  image.count = 0;
  expectLoaded(image.bytes());
  expectLoaded(hourly(3, kNoon).bytes() + "and what stands behind the image");
}

TEST_F(HistoryFile, ThatCannotBeOpenedLeavesNoCache) {
  expectLoaded(hourly(3, kNoon).bytes());
  RecTmpData.sensor_3009.sum = 77;
  const int descriptors = openDescriptors();
  {
    const FailCall unreadable("fopen", 1, EACCES);
    EXPECT_EQ(historyDataInit(), -1);
  }
  EXPECT_EQ(takeReports(), std::vector{kNotOpened});
  EXPECT_EQ(HistoryDataRing, nullptr);
  EXPECT_EQ(RecTmpData.sensor_3009.sum, 77);
  EXPECT_EQ(read(kDataFile), hourly(3, kNoon).bytes());
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(HistoryFile, ThatCannotBeCreatedLeavesTheCacheAsItWas) {
  expectLoaded(hourly(3, kNoon).bytes());
  const vexora_ringlist *const cache = HistoryDataRing;
  RecTmpData.sensor_3009.sum = 77;
  remove(kDataFile);
  std::filesystem::create_symlink("/var/no/such/folder", kDataFile);
  EXPECT_EQ(historyDataInit(), -1);
  EXPECT_EQ(takeReports(), (std::vector{kNotOpened, kNotCreated}));
  EXPECT_EQ(HistoryDataRing, cache);
  EXPECT_TRUE(cacheBytes() == hourly(3, kNoon).bytes());
  EXPECT_EQ(RecTmpData.sensor_3009.sum, 77);
}

TEST_F(HistoryFile, ThatCannotBeReplacedLeavesNoCache) {
  makeFolder(kDataFile);
  EXPECT_EQ(historyDataInit(), -1);
  EXPECT_EQ(takeReports(), (std::vector{kNoHeader, kNotOpened}));
  EXPECT_EQ(HistoryDataRing, nullptr);
  EXPECT_EQ(RecTmpData.sensor_3009.sum, 77);
}

// A failure on the way to a fresh file: which call, and how the reports begin.
TEST_F(HistoryFile, IsNotLeftHalfWritten) {
  struct Row {
    const char *call;
    std::vector<PlatformMessage> reports;  // by the number of the call
  };
  const Row rows[] = {{"fwrite", {kHeaderNotWritten, kSlotsNotWritten}},
                      {"fflush", {kHeaderNotWritten, kSlotsNotWritten}},
                      {"fclose", {kSlotsNotWritten}},
                      {"fopen", {kNotOpened}}};
  for (const Row &row : rows) {
    int result = 0;
    const int descriptors = openDescriptors();
    const unsigned failures = failEach(
        row.call, ENOSPC, [&] { result = InitHistoryDatFile(); },
        [&](unsigned n) {
          ASSERT_LE(n, row.reports.size());
          EXPECT_EQ(result, -1);
          EXPECT_EQ(takeReports(), std::vector{row.reports[n - 1]}) << row.call << n;
          EXPECT_FALSE(exists(kDataFile));
          EXPECT_EQ(openDescriptors(), descriptors);
        });
    EXPECT_EQ(failures, row.reports.size()) << row.call;
    EXPECT_EQ(result, 0);
    remove(kDataFile);
  }
}

TEST_F(HistoryFile, OnAFullDiskFailsAndLeavesNoCache) {
  fillDisk();
  EXPECT_EQ(historyDataInit(), -1);
  EXPECT_EQ(takeReports(), (std::vector{kHeaderNotWritten, kNotCreated}));
  EXPECT_EQ(HistoryDataRing, nullptr);
  EXPECT_FALSE(exists(kDataFile));
  remove(kFiller);
  EXPECT_EQ(historyDataInit(), 0);
  EXPECT_TRUE(read(kDataFile) == kFreshFile);
}

}  // namespace
}  // namespace vexora::test
