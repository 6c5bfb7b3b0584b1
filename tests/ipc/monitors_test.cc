// SPDX-License-Identifier: Apache-2.0
// The component monitors' and the RAID monitor's channels. The program stands between the library and the platform's
// semaphore, and sees each use of it.

#include <dlfcn.h>
#include <sched.h>
#include <sys/mman.h>

#include <atomic>
#include <climits>
#include <new>
#include <tuple>
#include <utility>

#include "firmware/unix.h"
#include "ipc/channels.h"
#include "support/faults.h"
#include "vexora/ipc.h"

namespace vexora::test {
namespace {

using Sender = int (*)(unsigned, unsigned, int, const void *, int, unsigned);
constexpr Sender kToOne = VexoraSendCompMonCmdWithRespFlag;
constexpr Sender kToAll = VexoraSendCompMonCmdWithMultiMode;
constexpr const char *kRaidPipe = "/var/raid_replace_moni_cmd_pipe";

// What became of the semaphore, with the descriptors open at that moment; `turns`, when set, counts those who have it
// at once in all processes.
struct Semaphore {
  bool missing = false, waitFails = false;
  std::vector<std::pair<std::string, int>> uses;
  std::atomic<int> *turns = nullptr;
  int mostAtOnce = 0;

  void note(const std::string &use) { uses.emplace_back(use, openDescriptors()); }
};
Semaphore semaphore;

class Monitors : public ChannelTest {
 protected:
  void SetUp() override {
    semaphore = {};
    ChannelTest::SetUp();
  }

  static Outcome failed(const std::string &text, const std::string &output = "") {
    return {-1, output, {{130, "[libvexora_basefunction:LINE]libvexora_basefunction(LINE)" + text + "\n"}}};
  }

  // Sends a status, and sees that its pipe is open within a whole turn alone.
  Outcome sendRaidInATurn() {
    semaphore.uses.clear();
    Outcome seen = outcome(SendRaidMonitorStatusToPipe, 0x1A5U, UINT_MAX);
    // While output is captured there are two descriptors more.
    const int open = openDescriptors() + 2;
    EXPECT_EQ(semaphore.uses,
              (decltype(semaphore.uses){
                  {"create raid_moni_pipe_key", open}, {"wait", open}, {"release raid_moni_pipe_key", open}}));
    return seen;
  }
};

TEST_F(Monitors, CommandsReachTheComponentsPipe) {
  const std::string data = pattern(512);
  const std::tuple<Sender, unsigned, unsigned, int, const char *, int, unsigned, const char *, std::string> rows[] = {
      {kToOne, 0x1A, 2, 0x1234, data.data(), 3, 0xA1B2C3D4, "/var/compmonreq1a02",
       std::string("\x34\x12\x02\0\xD4\xC3\xB2\xA1\x03\0\0\0\x11\x22\x33", 15)},
      {kToAll, 0x1A, 2, 0x1234, data.data(), 512, 1, "/var/compmonreq1a00",
       std::string("\x34\x12\x02\0\x01\0\0\0\0\x02\0\0", 12) + data},
      {kToOne, 3, 1, 0x7FFF0005, nullptr, 100, 0, "/var/compmonreq0301", {"\x05\0\x01", 3}},
      {kToAll, 3, 1, -2, data.data(), 0, 0, "/var/compmonreq0300", {"\xFE\xFF\x01", 3}},
      {kToOne, 0x123, 0x4FF, 1, nullptr, 0, 0, "/var/compmonreq1234ff", {"\x01\0\xFF", 3}},
      {kToOne, UINT_MAX, UINT_MAX, 0, nullptr, 512, 0, "/var/compmonreqffffffffffffffff", {"\0\0\xFF", 3}},
  };
  for (const auto &[send, kind, instance, command, from, length, flag, pipe, record] : rows) {
    SCOPED_TRACE(pipe);
    const PipeOwner owner(pipe);
    EXPECT_EQ(outcome(send, kind, instance, command, from, length, flag), Outcome{});
    EXPECT_EQ(owner.arrived(), record + zeros(524 - record.size()));
  }
}

TEST_F(Monitors, CommandsThatCannotBeSentAreReported) {
  const std::string data = pattern(513);
  for (const auto &[to, pipe] : {std::pair{kToOne, "/var/compmonreq0301"}, {kToAll, "/var/compmonreq0300"}}) {
    const std::string path = pipe;
    const auto send = [&, sender = to](int length) { return outcome(sender, 3, 1, 7, data.data(), length, 0); };
    EXPECT_EQ(send(1), failed("Pipe " + path + " is not exsist!"));
    EXPECT_FALSE(exists(path));
    for (const int refused : {513, INT_MAX, -1, INT_MIN}) {
      EXPECT_EQ(send(refused), failed("Input parameters error!")) << refused;
    }
    placeUnopenable(pipe);
    EXPECT_EQ(send(1), failed("Open pipe " + path + " error!", "could not open the pipe : " + path + "\n"));
    EXPECT_FALSE(exists(path));

    const PipeOwner owner(pipe);
    const FailCall fault("write", 1, EIO);
    EXPECT_EQ(send(1), failed("write message 2 pipe error with " + path + "!", "Unable to write into pipe\n"));
    EXPECT_EQ(owner.arrived(), "");
    const FailCall interrupted("write", 1, EINTR);
    EXPECT_EQ(send(1), Outcome{});
    EXPECT_EQ(owner.arrived().size(), 524U);
  }
}

TEST_F(Monitors, HealthLevelsHaveNames) {
  const std::pair<unsigned, const char *> rows[] = {{0, "info"},  {1, "warning"}, {2, "critical"},
                                                    {3, "alert"}, {4, "na"},      {UINT_MAX, "na"}};
  for (const auto &[level, name] : rows) {
    EXPECT_STREQ(TransHealType(level), name) << level;
  }
}

TEST_F(Monitors, RaidStatusGoesOutInATurnOfItsOwn) {
  EXPECT_EQ(outcome(SendRaidMonitorStatusToPipe, 1, 2), Outcome{-1}) << "no pipe";
  EXPECT_TRUE(semaphore.uses.empty());
  EXPECT_FALSE(exists(kRaidPipe));

  const PipeOwner owner(kRaidPipe);
  for (const bool waitFails : {false, true}) {
    semaphore.waitFails = waitFails;
    EXPECT_EQ(sendRaidInATurn(), Outcome{});
    EXPECT_EQ(owner.arrived(), "\xA5\xFF");
  }
  semaphore.uses.clear();
  semaphore.missing = true;
  EXPECT_EQ(outcome(SendRaidMonitorStatusToPipe, 1, 2), Outcome{-1});
  EXPECT_EQ(semaphore.uses.size(), 1U) << "only asked for";
  EXPECT_EQ(owner.arrived(), "");
}

TEST_F(Monitors, EachFailureOfTheRaidPipeGivesTheTurnBack) {
  const auto unable = [](const std::string &text) {
    return Outcome{
        -1, "", {{130, "[vexora_pipe_opera:LINE]Unable to " + text + " /var/raid_replace_moni_cmd_pipe pipe\n"}}};
  };
  placeUnopenable(kRaidPipe);
  EXPECT_EQ(sendRaidInATurn(), unable("open"));
  EXPECT_TRUE(exists(kRaidPipe));
  remove(kRaidPipe);

  const PipeOwner owner(kRaidPipe);
  for (const auto &[call, expected] : {std::pair{"open", unable("open")}, {"write", unable("write into")}}) {
    const FailCall fault(call, 1, EINTR);
    EXPECT_EQ(sendRaidInATurn(), expected) << "tried once";
    EXPECT_EQ(fault.seen(), 1U);
  }
  EXPECT_EQ(owner.arrived(), "");
  owner.fill();
  EXPECT_EQ(sendRaidInATurn(), unable("write into"));
  EXPECT_EQ(owner.arrived(), std::string(1 << 16, '#'));
}

TEST_F(Monitors, RaidSendersOfSeveralProcessesTakeTurns) {
  constexpr unsigned kEach = 1000;
  const PipeOwner owner(kRaidPipe);
  void *const shared =
      mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  semaphore.turns = new (shared) std::atomic<int>(0);
  const auto hammer = [] {
    for (unsigned n = 0; n < kEach; ++n) {
      ASSERT_EQ(SendRaidMonitorStatusToPipe(n, ~n), 0);
    }
    EXPECT_EQ(semaphore.mostAtOnce, 1);
  };
  const pid_t other = fork();
  ASSERT_GE(other, 0);
  hammer();
  if (other == 0) {
    _exit(HasFailure() ? 1 : 0);
  }
  int status = -1;
  EXPECT_EQ(waitpid(other, &status, 0), other);
  EXPECT_EQ(status, 0);
  const std::string all = owner.arrived();
  EXPECT_EQ(all.size(), 2 * 2 * kEach);
  for (std::size_t at = 0; at + 1 < all.size(); at += 2) {
    ASSERT_EQ(static_cast<char>(~all[at]), all[at + 1]) << at;
  }
  munmap(shared, sizeof(std::atomic<int>));
}

}  // namespace
}  // namespace vexora::test

using vexora::test::semaphore;

// The function that this program's one of the same name hides.
#define PLATFORM(name) reinterpret_cast<decltype(&(name))>(dlsym(RTLD_NEXT, #name))

extern "C" {

void *CreateSemaphore(const char *name) {
  static auto *const real = PLATFORM(CreateSemaphore);
  semaphore.note("create " + std::string(name));
  return semaphore.missing ? nullptr : real(name);
}

int WaitSemaphore(void *handle) {
  static auto *const real = PLATFORM(WaitSemaphore);
  const int result = real(handle);
  semaphore.note("wait");
  if (semaphore.turns != nullptr) {
    semaphore.mostAtOnce = std::max(semaphore.mostAtOnce, ++*semaphore.turns);
    sched_yield();
  }
  return semaphore.waitFails ? -1 : result;
}

int ReleaseSemaphore(void *handle, const char *name) {
  static auto *const real = PLATFORM(ReleaseSemaphore);
  semaphore.note("release " + std::string(name));
  if (semaphore.turns != nullptr) {
    --*semaphore.turns;
  }
  return real(handle, name);
}
}
