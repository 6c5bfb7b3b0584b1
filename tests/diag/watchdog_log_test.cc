// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "support/faults.h"
#include "support/files.h"
#include "support/platform.h"
#include "vexora/diag.h"

namespace {
int inherited = 0;  // descriptors that a child would inherit in the middle of a record
}  // namespace

// Called by an armed fault, which here only looks.
extern "C" int kill(pid_t /*process*/, int /*signal*/) noexcept {
  for (int fd = 0; fd < 64; ++fd) {
    inherited += fcntl(fd, F_GETFD) == 0 ? 1 : 0;
  }
  return 0;
}

namespace vexora::test {
namespace {

const std::string kLog = "/extlog/syslog/WDT.log";
const std::string kStamp = "[2024-05-01 13:45:07] ";
const std::string kWithErrno = "%s: %m";  // not in the call: compilers warn of the extension

class WatchdogLog : public RootTest {
 protected:
  WatchdogLog() { setenv("TZ", "XST-05:45", 1); }

  FixedClock clock_{1714571107};
};

// Records of several writers stay whole, since each is appended at once.
TEST_F(WatchdogLog, AppendsRecordsStampedInUtcInOneSystemCallEach) {
  const std::string most(1022, 'x');
  const std::pair<std::string, std::string> texts[] = {
      {"abc", "abc\n"},          {"abc\n", "abc\n"},         {"abc\t", "abc\t"},         {"", "\n"},
      {most + "y", most + "\n"}, {most + "yz", most + "\n"}, {most + "\tz", most + "\t"}};
  const auto writes = [] {
    const std::string counts = read("/proc/thread-self/io");
    return std::stoi(counts.substr(counts.find("syscw: ") + 7));
  };
  std::string expected = "what was there\n";
  write(kLog, expected);
  const int descriptors = openDescriptors();
  for (const auto &[text, kept] : texts) {
    SCOPED_TRACE(testing::PrintToString(text));
    const int before = writes();
    EXPECT_EQ(TWatchDog1Log("%s", text.c_str()), 0);
    EXPECT_EQ(writes() - before, 1);
    expected.append(kStamp).append(kept);
    EXPECT_EQ(read(kLog), expected);
  }
  clock_.set(981173106);
  errno = ENOTTY;
  EXPECT_EQ(TWatchDog1Log(kWithErrno.c_str(), "open"), 0);
  EXPECT_EQ(read(kLog), expected + "[2001-02-03 04:05:06] open: Inappropriate ioctl for device\n");
  EXPECT_EQ(openDescriptors(), descriptors);
  kill(0, 0);
  const int ours = std::exchange(inherited, 0);
  const FailCall moment("fwrite", 1, EIO, Strike::kKill);
  TWatchDog1Log("kick");
  EXPECT_EQ(inherited, ours) << "the log is open for this process alone";
}

TEST_F(WatchdogLog, IsDeletedAsSoonAsItReaches1MiB) {
  const std::string record = kStamp + "kick\n";
  const std::string almost(1048575 - record.size(), 'x');
  write(kLog, almost);
  EXPECT_EQ(TWatchDog1Log("kick"), 0);
  EXPECT_EQ(read(kLog), almost + record);
  write(kLog, almost + "x");
  {
    const FailCall undeletable("remove", 1, EBUSY);
    EXPECT_EQ(TWatchDog1Log("kick"), -1);
  }
  EXPECT_EQ(read(kLog), almost + "x" + record);
  const FailCall year2038("stat", 1, EOVERFLOW);  // what a log dated from then on gives where time_t has 32 bits
  EXPECT_EQ(TWatchDog1Log("kick"), 0);
  EXPECT_FALSE(exists(kLog));
}

TEST_F(WatchdogLog, RefusesWhatItCannotRenderAndTellsOfALogBySizeAlone) {
  const char *nothing = nullptr;
  EXPECT_EQ(TWatchDog1Log(nothing, 0), -1);
  EXPECT_EQ(TWatchDog1Log("before %ls after", L"\xD800"), -1);
  EXPECT_FALSE(exists(kLog));
  makeFolder(kLog);
  EXPECT_EQ(TWatchDog1Log("not opened"), 0);
  for (const auto &[target, result] : {std::pair{"/dev/full", 0}, {"/extlog/syslog/missing/WDT.log", -1}}) {
    remove(kLog);
    std::filesystem::create_symlink(target, kLog);
    EXPECT_EQ(TWatchDog1Log("lost"), result) << target;
  }
}

}  // namespace
}  // namespace vexora::test
