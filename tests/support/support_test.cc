// SPDX-License-Identifier: Apache-2.0
//
// The tests stand on calls that arrive here instead of at the platform or the C library. Should one silently go past,
// for example under another libc or processor, every test of a failure would pass without having tried any.
#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <thread>

#include "support/faults.h"
#include "support/files.h"
#include "support/platform.h"
#include "support/process.h"
#include "vexora/containers.h"
#include "vexora/diag.h"

namespace vexora::test {
namespace {

constexpr const char *kWatchdogLog = "/extlog/syslog/WDT.log";

class Support : public RootTest {};

TEST_F(Support, TheLibrarySeesTheFixedClock) {
  FixedClock clock(1714571107);
  EXPECT_EQ(TWatchDog1Log("first"), 0);
  clock.advance(3600);
  EXPECT_EQ(TWatchDog1Log("second"), 0);
  EXPECT_EQ(read(kWatchdogLog), "[2024-05-01 13:45:07] first\n[2024-05-01 14:45:07] second\n");
}

TEST_F(Support, FaultsReachTheLibrarysOwnCalls) {
  unsigned checked = 0;
  const unsigned failures = failEach(
      "fopen", EMFILE, [] { (void)TWatchDog1Log("line"); },
      [&](unsigned) {
        ++checked;
        EXPECT_FALSE(exists(kWatchdogLog));
      });
  EXPECT_EQ(failures, 1U);
  EXPECT_EQ(checked, 1U);
  EXPECT_TRUE(exists(kWatchdogLog));
  EXPECT_GT(countCalls(kAnyFileCall, [] { (void)TWatchDog1Log("line"); }), 2U);
}

TEST_F(Support, FaultsSpareOtherThreadsAndTheSupportItself) {
  const FailCall fault("fopen", 1, EMFILE, Strike::kFromThenOn);
  std::thread([] { (void)TWatchDog1Log("from another thread"); }).join();
  EXPECT_FALSE(fault.struck());
  EXPECT_TRUE(exists(kWatchdogLog));
}

TEST_F(Support, AKillLeavesTheFilesOfThatMoment) {
  const int status = runInChild([] {
    const FailCall fault("fopen", 2, 0, Strike::kKill);
    (void)TWatchDog1Log("written");
    (void)TWatchDog1Log("never");
  });
  EXPECT_EQ(status, 128 + SIGKILL);
  EXPECT_EQ(read(kWatchdogLog).find("never"), std::string::npos);
  EXPECT_NE(read(kWatchdogLog).find("written"), std::string::npos);
}

#ifndef VEXORA_SANITIZED
TEST_F(Support, AllocationFaultsAndLeaksShow) {
  const HeapWatch heap;
  vexora_ringlist *list = nullptr;
  {
    const FailCall fault(kAnyAllocation, 1, ENOMEM);
    list = vexora_ringlist_init(8, 4);
    EXPECT_TRUE(fault.struck());
  }
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(heap.growth(), 0);
  list = vexora_ringlist_init(8, 4);
  EXPECT_GT(heap.growth(), 0);
  EXPECT_EQ(vexora_ringlist_free(list), 0);
  EXPECT_EQ(heap.growth(), 0);
}
#endif

TEST_F(Support, OutputOfTheLibraryIsCaptured) {
  touch("/conf/vexora_debug/LEVEL_INFO");
  touch("/conf/vexora_debug/PATH_SERIAL");
  touch("/conf/vexora_debug/ENABLE_IPMI");
  inFreshProcess([] {
    const FixedClock clock(1714571107);
    EXPECT_EQ(capturedOutput([] { VexoraDebug(3, "IPMI", "on %d", 7); }), "[Critical]:<2024-05-01T13:45:07>on 7\n\n");
  });
}

TEST_F(Support, RootIsPrivate) {
  EXPECT_EQ(list("/conf"), std::vector<std::string>{});
  EXPECT_LT(open("/usr/marker", O_CREAT | O_WRONLY | O_CLOEXEC, 0600), 0);
  EXPECT_EQ(errno, EROFS);
  write("/var/tmp/left-over", "x");
  clearRoot();
  EXPECT_EQ(list("/var"), std::vector<std::string>{"tmp"});
  EXPECT_EQ(list("/var/tmp"), std::vector<std::string>{});
}

}  // namespace
}  // namespace vexora::test
