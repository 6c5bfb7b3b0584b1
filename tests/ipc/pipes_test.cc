// SPDX-License-Identifier: Apache-2.0
// Named pipes. The program stands between the library and the platform's wait, sees what is asked of it and can decide
// how it ends.

#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/select.h>

#include <chrono>
#include <climits>
#include <cstring>
#include <optional>
#include <thread>
#include <utility>

#include "ipc/channels.h"
#include "support/faults.h"
#include "vexora/ipc.h"

namespace vexora::test {
namespace {

constexpr const char *kPipe = "/var/pipe";
constexpr const char *kNoFolder = "/var/none/pipe";
constexpr int kNoDescriptor = 900;
const std::string kModule = "libvexora_basefunction";

// The wait's last use; with an answer it ends at once with that, and errno for -1.
struct Wait {
  std::optional<int> answer;
  int error = 0, uses = 0, descriptors = 0;
  bool forDataAlone = false;
  std::pair<long, long> time;
};
Wait wait;

class Pipes : public ChannelTest {
 protected:
  void SetUp() override {
    wait = {};
    ChannelTest::SetUp();
  }
};

TEST_F(Pipes, CreationMakesAFifoOrLeavesWhateverExists) {
  const mode_t mask = umask(0020);
  EXPECT_EQ(outcome(vexora_create_pipe, kPipe), Outcome{});
  umask(mask);
  struct stat status = {};
  ASSERT_EQ(stat(kPipe, &status), 0);
  EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFIFO | 0757));
  write("/var/file", "kept");
  for (const char *existing : {kPipe, "/var/file", "/var/tmp"}) {
    EXPECT_EQ(outcome(vexora_create_pipe, existing), Outcome{});
  }
  EXPECT_EQ(read("/var/file"), "kept");
  EXPECT_EQ(outcome(vexora_create_pipe, kNoFolder), (Outcome{-1, "Could not create pipe : /var/none/pipe\n"}));
  EXPECT_EQ(outcome(vexora_create_pipe, nullptr), Outcome{-1});
}

TEST_F(Pipes, OfTwoFirstSendersTheLaterFindsThePipe) {
  ASSERT_EQ(mkfifo(kPipe, 0600), 0);
  const FailCall lookedTooEarly("access", 1, ENOENT);
  EXPECT_EQ(outcome(vexora_create_pipe, kPipe), Outcome{});
  EXPECT_TRUE(lookedTooEarly.struck());
}

TEST_F(Pipes, OpensForBothDirectionsWithoutAPartner) {
  ASSERT_EQ(mkfifo(kPipe, 0600), 0);
  const FailCall interrupted("open", 1, EINTR);
  const int fd = vexora_openpipe(kPipe);
  EXPECT_TRUE(interrupted.struck());
  ASSERT_GE(fd, 0);
  EXPECT_EQ(fcntl(fd, F_GETFL) & (O_ACCMODE | O_NONBLOCK | O_APPEND), O_RDWR);
  EXPECT_EQ(outcome(vexora_closepipe, fd), Outcome{});
  EXPECT_EQ(outcome(vexora_closepipe, kNoDescriptor), (Outcome{-1, "could not close the pipe : 900\n"}));
}

TEST_F(Pipes, APathThatCannotBeOpenedIsRemoved) {
  const std::string unopened = "could not open the pipe : ", kept = "could not unlink the pipe";
  placeUnopenable(kPipe);
  EXPECT_EQ(outcome(vexora_openpipe, kPipe), (Outcome{-1, unopened + "/var/pipe\n"}));
  EXPECT_FALSE(exists(kPipe));
  EXPECT_EQ(outcome(vexora_openpipe, kPipe), (Outcome{-1, unopened + "/var/pipe\n" + kept}));
  EXPECT_EQ(outcome(vexora_openpipe, "/var/tmp"), (Outcome{-1, unopened + "/var/tmp\n" + kept}));
  EXPECT_TRUE(exists("/var/tmp"));
  EXPECT_EQ(outcome(vexora_openpipe, nullptr), Outcome{-1});
}

// Both readers read alike once there are data, whatever the time-out.
TEST_F(Pipes, ReadingGivesWhatIsThereAndZeros) {
  using Reader = int (*)(int, void *, unsigned);
  const Reader patient = [](int fd, void *buffer, unsigned size) {
    return vexora_select_readpipe(fd, buffer, size, -1);
  };
  const Reader polling = [](int fd, void *buffer, unsigned size) {
    return vexora_select_readpipe(fd, buffer, size, 0);
  };
  const PipeOwner pipe(kPipe);
  for (const Reader reader : {Reader(vexora_readpipe), polling, patient}) {
    std::string buffer(8, '~');
    ASSERT_EQ(::write(pipe.fd(), "0123456789", 10), 10);
    EXPECT_EQ(outcome(reader, pipe.fd(), buffer.data(), 6), Outcome{6});
    EXPECT_EQ(buffer, "012345~~");
    const FailCall interrupted("read", 1, EINTR);
    EXPECT_EQ(outcome(reader, pipe.fd(), buffer.data(), 6), Outcome{4});
    EXPECT_EQ(buffer, std::string("6789\0\0~~", 8));
    EXPECT_EQ(outcome(reader, pipe.fd(), nullptr, 6), Outcome{-1});
    EXPECT_EQ(outcome(reader, -1, buffer.data(), 8), Outcome{-1});
    EXPECT_EQ(buffer, std::string("6789\0\0~~", 8));
  }
  for (const Reader reader : {Reader(vexora_readpipe), patient}) {
    std::string buffer(8, '~');
    const Outcome failed = {-1, "[Error]: read the pipe date error: pipeHndler=900, readsize=-1\n"};
    EXPECT_EQ(outcome(reader, kNoDescriptor, buffer.data(), 6), failed);
    EXPECT_EQ(buffer, zeros(6) + "~~");
  }
}

TEST_F(Pipes, WaitsAskForTheirTimeAndTellItsEndNowhere) {
  const PipeOwner pipe(kPipe);
  ASSERT_EQ(::write(pipe.fd(), "stays", 5), 5);
  char buffer[] = "~~~~";
  wait.answer = 0;
  for (const auto &[milliseconds, time] :
       {std::pair{0, std::pair{0L, 0L}}, {999, {0, 999000}}, {1500, {1, 500000}}, {INT_MAX, {2147483, 647000}}}) {
    EXPECT_EQ(outcome(vexora_select_readpipe, pipe.fd(), buffer, 4, milliseconds), Outcome{-1});
    EXPECT_EQ(wait.time, time) << milliseconds;
    EXPECT_EQ(wait.descriptors, pipe.fd() + 1);
    EXPECT_TRUE(wait.forDataAlone);
  }
  EXPECT_STREQ(buffer, "~~~~");
  EXPECT_EQ(outcome(vexora_select_readpipe, pipe.fd(), buffer, 4, INT_MIN), Outcome{4});
  EXPECT_EQ(wait.uses, 4) << "the last read has none";
}

TEST_F(Pipes, WaitsLastTheirTimeThroughSignalsAndEndWithData) {
  const PipeOwner pipe(kPipe);
  const int fd = vexora_openpipe(kPipe);
  char buffer[] = "~~~~";
  const SignalStorm storm;
  EXPECT_EQ(outcome(vexora_select_readpipe, fd, buffer, 4, 0), Outcome{-1});
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(outcome(vexora_select_readpipe, fd, buffer, 4, 60), Outcome{-1});
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(60));
  EXPECT_GT(SignalStorm::signals(), 1);
  EXPECT_STREQ(buffer, "~~~~");
  for (const int time : {60000, -1}) {
    std::thread writer([&] { EXPECT_EQ(::write(pipe.fd(), "data", 4), 4); });
    EXPECT_EQ(outcome(vexora_select_readpipe, fd, buffer, 4, time), Outcome{4});
    writer.join();
  }
  EXPECT_STREQ(buffer, "data");
  EXPECT_EQ(vexora_closepipe(fd), 0);
}

TEST_F(Pipes, AFailedWaitIsReported) {
  const PipeOwner pipe(kPipe);
  ASSERT_EQ(::write(pipe.fd(), "data", 4), 4);
  rlimit limit = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit more = {std::min<rlim_t>(2048, limit.rlim_max), limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &more), 0);
  const int beyondSets = fcntl(pipe.fd(), F_DUPFD_CLOEXEC, FD_SETSIZE);
  ASSERT_GE(beyondSets, FD_SETSIZE);

  const std::string report = "[" + kModule + ":LINE]Message.c : Error waiting on pipe ";
  char buffer[] = "~~~~";
  for (const int fd : {kNoDescriptor, -2, beyondSets}) {
    EXPECT_EQ(outcome(vexora_select_readpipe, fd, buffer, 4, 0),
              (Outcome{-1, "", {{130, report + "Bad file descriptor\n"}}}));
  }
  EXPECT_EQ(close(beyondSets), 0);
  wait.answer = -1;
  wait.error = EINVAL;
  EXPECT_EQ(outcome(vexora_select_readpipe, pipe.fd(), buffer, 4, 0),
            (Outcome{-1, "", {{130, report + "Invalid argument\n"}}}));
  EXPECT_STREQ(buffer, "~~~~");
  EXPECT_EQ(pipe.arrived(), "data");
}

TEST_F(Pipes, RecordsGoOutWholeInOneWrite) {
  const PipeOwner pipe(kPipe);
  const std::string data = pattern(1026);
  for (const unsigned size : {1U, 1024U, 1025U, 0U, 1026U, UINT_MAX}) {
    SCOPED_TRACE(size);
    const bool sent = size != 0 && size <= 1025;
    for (const bool byPath : {false, true}) {
      FailCall calls("write", sent ? 1 : kNever, EINTR);
      EXPECT_EQ(byPath ? outcome(vexora_writepipe, kPipe, data.data(), size)
                       : outcome(vexora_writepipe_with_fd, pipe.fd(), data.data(), size),
                Outcome{size <= 1025 ? 0 : -1});
      EXPECT_LE(calls.seen(), 2U) << "the interrupted one and the other";
      EXPECT_EQ(pipe.arrived(), sent ? data.substr(0, size) : "");
    }
  }
  EXPECT_EQ(outcome(vexora_writepipe_with_fd, -1, "x", 1), Outcome{-1});
  EXPECT_EQ(outcome(vexora_writepipe_with_fd, pipe.fd(), nullptr, 1), Outcome{-1});
  EXPECT_EQ(outcome(vexora_writepipe, nullptr, "x", 1), Outcome{-1});
  EXPECT_EQ(outcome(vexora_writepipe, kPipe, nullptr, 1), Outcome{-1});
  EXPECT_EQ(pipe.arrived(), "");
}

TEST_F(Pipes, AFailedWriteThroughADescriptorIsTold) {
  const PipeOwner pipe(kPipe);
  pipe.fill();
  for (const int fd : {kNoDescriptor, pipe.fd()}) {
    EXPECT_EQ(outcome(vexora_writepipe_with_fd, fd, "x", 1), (Outcome{-1, "Unable to write into pipe\n"}));
  }
  EXPECT_EQ(pipe.arrived(), std::string(1 << 16, '#'));
  EXPECT_EQ(outcome(vexora_writepipe_with_fd, pipe.fd(), "x", 1), Outcome{}) << "stays open";
}

TEST_F(Pipes, WritingByPathMakesAMissingFifoAndReportsEachFailure) {
  const auto failed = [](const std::string &text, const std::string &output = "") {
    return Outcome{-1, output, {{130, "[" + kModule + ":LINE]" + text + kModule + " vexora_writepipe LINE\n"}}};
  };
  EXPECT_EQ(
      outcome(vexora_writepipe, kNoFolder, "x", 1),
      failed("Unable to create pipe /var/none/pipe --------------- ", "Could not create pipe : /var/none/pipe\n"));
  placeUnopenable(kPipe);
  EXPECT_EQ(outcome(vexora_writepipe, kPipe, "x", 1),
            failed("Unable to open the command pipe::/var/pipe --------------"));
  EXPECT_TRUE(exists(kPipe)) << "only opening removes";
  remove(kPipe);

  EXPECT_EQ(outcome(vexora_writepipe, kPipe, "lost", 4), Outcome{});
  struct stat status = {};
  ASSERT_EQ(stat(kPipe, &status), 0);
  EXPECT_TRUE(S_ISFIFO(status.st_mode));
  const PipeOwner pipe(kPipe);
  const FailCall fault("write", 1, EIO);
  EXPECT_EQ(outcome(vexora_writepipe, kPipe, "x", 1), failed("Unable to write into /var/pipe pipe ---------------"));
  EXPECT_EQ(outcome(vexora_writepipe, kPipe, "kept", 4), Outcome{});
  EXPECT_EQ(pipe.arrived(), "kept");
}

}  // namespace
}  // namespace vexora::test

extern "C" int sigwrap_select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout) {
  using vexora::test::wait;
  static auto *const real = reinterpret_cast<decltype(&sigwrap_select)>(dlsym(RTLD_NEXT, "sigwrap_select"));
  fd_set others = *read;
  FD_CLR(count - 1, &others);
  const fd_set none = {};
  wait.forDataAlone = write == nullptr && except == nullptr && std::memcmp(&others, &none, sizeof none) == 0;
  ++wait.uses;
  wait.descriptors = count;
  wait.time = {timeout->tv_sec, timeout->tv_usec};
  errno = wait.error;
  return wait.answer ? *wait.answer : real(count, read, write, except, timeout);
}
