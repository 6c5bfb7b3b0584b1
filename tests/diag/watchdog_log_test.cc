// SPDX-License-Identifier: Apache-2.0
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/platform.h"
#include "vexora/diag.h"

namespace vexora::test {
namespace {

const std::string kLog = "/extlog/syslog/WDT.log";
const std::string kStamp = "[2024-05-01 13:45:07] ";
const std::string kWithErrno = "%s: %m";  // not in the call: compilers warn of the extension
constexpr std::size_t kLimit = 1048576;

char easternZone[] = "TZ=XST-05:45";
char *inTheEast[] = {easternZone, nullptr};
bool deletionFails = false;

class WatchdogLog : public RootTest {
 protected:
  WatchdogLog() { environ = inTheEast; }

  FixedClock clock_{1714571107};
};

TEST_F(WatchdogLog, AppendsRecordsStampedInUtc) {
  const std::string most(1022, 'x');
  const std::pair<std::string, std::string> texts[] = {
      {"abc", "abc\n"},          {"abc\n", "abc\n"},         {"abc\t", "abc\t"},         {"", "\n"},
      {most + "y", most + "\n"}, {most + "yz", most + "\n"}, {most + "\tz", most + "\t"}};
  std::string expected = "what was there\n";
  write(kLog, expected);
  const int descriptors = openDescriptors();
  for (const auto &[text, kept] : texts) {
    EXPECT_EQ(TWatchDog1Log("%s", text.c_str()), 0);
    expected.append(kStamp).append(kept);
    EXPECT_EQ(read(kLog), expected);
  }
  clock_.set(981173106);
  errno = ENOTTY;
  EXPECT_EQ(TWatchDog1Log(kWithErrno.c_str(), "open"), 0);
  EXPECT_EQ(read(kLog), expected + "[2001-02-03 04:05:06] open: Inappropriate ioctl for device\n");
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(WatchdogLog, IsDeletedAsSoonAsItReaches1MiB) {
  const std::string record = kStamp + "kick\n";
  const std::string almost(kLimit - 1 - record.size(), 'x');
  write(kLog, almost);
  EXPECT_EQ(TWatchDog1Log("kick"), 0);
  EXPECT_EQ(read(kLog), almost + record);
  write(kLog, almost + "x");
  EXPECT_EQ(TWatchDog1Log("kick"), 0);
  EXPECT_EQ(list("/extlog/syslog"), std::vector<std::string>{});
  EXPECT_EQ(TWatchDog1Log("kick"), 0);
  EXPECT_EQ(read(kLog), record);

  write(kLog, almost + "x");
  deletionFails = true;
  EXPECT_EQ(TWatchDog1Log("kick"), -1);
  deletionFails = false;
  EXPECT_EQ(read(kLog), almost + "x" + record);
}

TEST_F(WatchdogLog, RefusesWhatItCannotRender) {
  const char *nothing = nullptr;
  EXPECT_EQ(TWatchDog1Log(nothing, 0), -1);
  EXPECT_EQ(TWatchDog1Log("before %ls after", L"\xD800"), -1);
  EXPECT_FALSE(exists(kLog));
}

TEST_F(WatchdogLog, OnlyTheSizeTellsOfALogThatCannotBeWritten) {
  makeFolder(kLog);
  EXPECT_EQ(TWatchDog1Log("not opened"), 0);
  for (const auto &[target, result] : {std::pair{"/dev/full", 0}, {"/extlog/syslog/missing/WDT.log", -1}}) {
    remove(kLog);
    std::filesystem::create_symlink(target, kLog);
    EXPECT_EQ(TWatchDog1Log("lost"), result) << target;
  }
}

// Records of several writers stay whole, since each is appended at once.
TEST_F(WatchdogLog, WritesEachRecordInOneSystemCall) {
  const auto writes = [] {
    const std::string counts = read("/proc/thread-self/io");
    return std::stoi(counts.substr(counts.find("syscw: ") + 7));
  };
  const int before = writes();
  for (const std::size_t length : {4U, 1022U, 4000U}) {
    EXPECT_EQ(TWatchDog1Log("%s", std::string(length, 'x').c_str()), 0);
  }
  EXPECT_EQ(writes() - before, 3);
}

}  // namespace
}  // namespace vexora::test

extern "C" int remove(const char *path) noexcept {
  static auto *const real = reinterpret_cast<decltype(&remove)>(dlsym(RTLD_NEXT, "remove"));
  if (vexora::test::deletionFails) {
    errno = EBUSY;
    return -1;
  }
  return real(path);
}
