// SPDX-License-Identifier: Apache-2.0
// Named pipes, and the component monitors' and the RAID monitor's channels through them. The program interposes the
// system's wait and semaphore: it records each use and can set the result.

#include "firmware/unix.h"
#include "ipc/channels.h"
#include "vexora/ipc.h"

namespace vexora::test {
namespace {

constexpr const char *kPipe = "/var/pipe";
constexpr const char *kRaidPipe = "/var/raid_replace_moni_cmd_pipe";
constexpr int kNoDescriptor = 900;
const std::string kModule = "libvexora_basefunction";

// The seconds and microseconds of the wait. With an answer it returns that immediately, and sets errno for -1.
struct Wait {
  std::optional<int> answer;
  int error = 0;
  std::pair<long, long> time = {-1, -1};
};
Wait wait;

// The uses of the semaphore, each with the number of open descriptors.
struct Semaphore {
  bool missing = false, waitFails = false;
  std::string uses;

  void note(const std::string &use) { uses += use + " at " + std::to_string(openDescriptors()) + "\n"; }
};
Semaphore semaphore;

Outcome reported(const std::string &text, const std::string &output = "") {
  return {-1, output, {{130, "[" + kModule + ":LINE]" + text}}};
}

// The report of vexora_writepipe.
Outcome unwritten(const std::string &text, const std::string &output = "") {
  return reported(text + kModule + " vexora_writepipe LINE\n", output);
}

class Pipes : public ChannelTest {
 protected:
  Pipes() {
    wait = {};
    semaphore = {};
  }

  // Sends a status. Its pipe must be open only while the semaphore is held.
  Outcome sendRaidInATurn() {
    semaphore.uses.clear();
    Outcome seen = outcome(SendRaidMonitorStatusToPipe, 0x1A5U, UINT_MAX);
    const std::string open = " at " + std::to_string(openDescriptors() + 1) + "\n";  // one for the captured output
    EXPECT_EQ(semaphore.uses, "create raid_moni_pipe_key" + open + "wait" + open + "release raid_moni_pipe_key" + open);
    return seen;
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
  EXPECT_EQ(outcome(vexora_create_pipe, "/var/file"), Outcome{});
  EXPECT_EQ(read("/var/file"), "kept");
  EXPECT_EQ(outcome(vexora_create_pipe, nullptr), Outcome{-1});
  ASSERT_EQ(symlink("/var/none", "/var/nowhere") + symlink("/var/itself", "/var/itself"), 0);
  for (const std::string path : {"/var/none/pipe", "/var/nowhere", "/var/itself"}) {
    const std::string unmade = "Could not create pipe : " + path + "\n";
    EXPECT_EQ(outcome(vexora_create_pipe, path.c_str()), (Outcome{-1, unmade}));
    EXPECT_EQ(outcome(vexora_writepipe, path.c_str(), "x", 1),
              unwritten("Unable to create pipe " + path + " --------------- ", unmade));
  }
  const FailCall lookedTooEarly("access", 1, ENOENT);  // as if another first sender made the pipe after the check
  EXPECT_EQ(outcome(vexora_create_pipe, kPipe), Outcome{});
  EXPECT_TRUE(lookedTooEarly.struck());
}

TEST_F(Pipes, OpensForBothDirectionsWithoutAPartnerOrRemovesThePath) {
  ASSERT_EQ(mkfifo(kPipe, 0600), 0);
  const FailCall interrupted("open", 1, EINTR);
  const int fd = vexora_openpipe(kPipe);
  EXPECT_TRUE(interrupted.struck());
  EXPECT_EQ(fcntl(fd, F_GETFL) & (O_ACCMODE | O_NONBLOCK | O_APPEND), O_RDWR);
  EXPECT_EQ(fcntl(fd, F_GETFD), 0) << "a child process inherits it";
  EXPECT_EQ(outcome(vexora_closepipe, fd), Outcome{});
  EXPECT_EQ(outcome(vexora_closepipe, kNoDescriptor), (Outcome{-1, "could not close the pipe : 900\n"}));

  const std::string unopened = "could not open the pipe : /var/pipe\n", kept = "could not unlink the pipe";
  remove(kPipe);
  placeUnopenable(kPipe);
  EXPECT_EQ(outcome(vexora_openpipe, kPipe), (Outcome{-1, unopened}));
  EXPECT_FALSE(exists(kPipe));
  EXPECT_EQ(outcome(vexora_openpipe, kPipe), (Outcome{-1, unopened + kept}));
  makeDirectory(kPipe);
  EXPECT_EQ(outcome(vexora_openpipe, kPipe), (Outcome{-1, unopened + kept}));
  EXPECT_EQ(outcome(vexora_openpipe, nullptr), Outcome{-1});
}

TEST_F(Pipes, DescriptorOfAClosedStandardInputServes) {
  inFreshProcess([] {
    char byte = '~';
    close(STDIN_FILENO);
    EXPECT_EQ(vexora_writepipe(kPipe, "x", 1), 0);
    EXPECT_EQ(vexora_openpipe(kPipe), STDIN_FILENO);
    EXPECT_EQ(vexora_writepipe_with_fd(STDIN_FILENO, "x", 1), 0);
    EXPECT_EQ(vexora_select_readpipe(STDIN_FILENO, &byte, 1, 0), 1);
  });
}

// Both readers return the same once there are data, whatever the time-out.
TEST_F(Pipes, ReadingGivesWhatIsThereAndZeros) {
  using Reader = int (*)(int, void *, unsigned);
  const Reader patient = [](int fd, void *to, unsigned size) { return vexora_select_readpipe(fd, to, size, -1); };
  const Reader polling = [](int fd, void *to, unsigned size) { return vexora_select_readpipe(fd, to, size, 0); };
  const PipeOwner pipe(kPipe);
  for (const Reader reader : {Reader(vexora_readpipe), polling, patient}) {
    SCOPED_TRACE(reader == patient ? "patient" : reader == polling ? "polling" : "plain");
    std::string buffer(8, '~');
    ASSERT_EQ(::write(pipe.fd(), "0123456789", 10), 10);
    EXPECT_EQ(outcome(reader, pipe.fd(), buffer.data(), 6), Outcome{6});
    EXPECT_EQ(buffer, "012345~~");
    EXPECT_EQ(outcome(reader, pipe.fd(), buffer.data(), 0), Outcome{});
    const FailCall interrupted("read", 1, EINTR);
    EXPECT_EQ(outcome(reader, pipe.fd(), buffer.data(), 6), Outcome{4});
    EXPECT_EQ(buffer, std::string("6789\0\0~~", 8));
    EXPECT_EQ(outcome(reader, pipe.fd(), nullptr, 6), Outcome{-1});
    EXPECT_EQ(outcome(reader, -1, buffer.data(), 8), Outcome{-1});
    EXPECT_EQ(buffer, std::string("6789\0\0~~", 8));
    if (reader != polling) {
      const Outcome failed = {-1, "[Error]: read the pipe date error: pipeHndler=900, readsize=-1\n"};
      EXPECT_EQ(outcome(reader, kNoDescriptor, buffer.data(), 6), failed);
      EXPECT_EQ(buffer, zeros(6) + "~~");
    }
  }
}

TEST_F(Pipes, WaitsAskForTheirTimeAndAreReportedOnlyWhenTheyFail) {
  const PipeOwner pipe(kPipe);
  ASSERT_EQ(::write(pipe.fd(), "stays", 5), 5);
  char buffer[] = "~~~~";
  wait.answer = 0;
  for (const auto &[milliseconds, time] :
       {std::pair{0, std::pair{0L, 0L}}, {999, {0, 999000}}, {1500, {1, 500000}}, {INT_MAX, {2147483, 647000}}}) {
    SCOPED_TRACE(milliseconds);
    EXPECT_EQ(outcome(vexora_select_readpipe, pipe.fd(), buffer, 4, milliseconds), Outcome{-1});
    EXPECT_EQ(wait.time, time);
  }
  const std::string report = "Message.c : Error waiting on pipe ";
  wait = {-1, EINVAL};
  EXPECT_EQ(outcome(vexora_select_readpipe, pipe.fd(), buffer, 4, 0), reported(report + "Invalid argument\n"));
  wait = {};
  const int closed = fcntl(pipe.fd(), F_DUPFD_CLOEXEC, 200);
  EXPECT_EQ(close(closed), 0);
  for (const int fd : {closed, -2, FD_SETSIZE}) {
    EXPECT_EQ(outcome(vexora_select_readpipe, fd, buffer, 4, 0), reported(report + "Bad file descriptor\n")) << fd;
  }
  EXPECT_STREQ(buffer, "~~~~");
  wait = {};
  EXPECT_EQ(outcome(vexora_select_readpipe, pipe.fd(), buffer, 4, INT_MIN), Outcome{4});
  EXPECT_EQ(wait.time, Wait{}.time) << "no wait";
}

TEST_F(Pipes, RecordsGoOutWholeInOneWrite) {
  const PipeOwner pipe(kPipe);
  const std::string data = pattern(1026);
  for (const unsigned size : {1U, 1024U, 1025U, 0U, 1026U, UINT_MAX}) {
    const bool sent = size != 0 && size <= 1025;
    for (const bool byPath : {false, true}) {
      SCOPED_TRACE(testing::Message() << size << (byPath ? " by path" : " by descriptor"));
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
}

TEST_F(Pipes, WritingReportsEachFailureAndByPathMakesAMissingFifo) {
  placeUnopenable(kPipe);
  EXPECT_EQ(outcome(vexora_writepipe, kPipe, "x", 1),
            unwritten("Unable to open the command pipe::/var/pipe --------------"));
  EXPECT_TRUE(exists(kPipe)) << "only opening removes";
  remove(kPipe);
  const FailCall interrupted("open", 1, EINTR);
  EXPECT_EQ(outcome(vexora_writepipe, kPipe, "lost", 4), Outcome{});
  const PipeOwner pipe(kPipe);
  const FailCall fault("write", 1, EIO);
  EXPECT_EQ(outcome(vexora_writepipe, kPipe, "x", 1), unwritten("Unable to write into /var/pipe pipe ---------------"));
  pipe.fill();
  const int oneByteLeft = memfd_create("no pipe", MFD_CLOEXEC | MFD_ALLOW_SEALING);  // a record can be cut
  EXPECT_EQ(ftruncate(oneByteLeft, 4096) + fcntl(oneByteLeft, F_ADD_SEALS, F_SEAL_GROW), 0);
  EXPECT_EQ(lseek(oneByteLeft, -1, SEEK_END), 4095);
  for (const int fd : {kNoDescriptor, pipe.fd(), oneByteLeft}) {
    EXPECT_EQ(outcome(vexora_writepipe_with_fd, fd, "xy", 2), (Outcome{-1, "Unable to write into pipe\n"})) << fd;
  }
  close(oneByteLeft);
  EXPECT_EQ(pipe.arrived(), std::string(1 << 16, '#'));
}

TEST_F(Pipes, MonitorsCommandsReachTheComponentsPipe) {
  const std::string data = pattern(512);
  const auto one = VexoraSendCompMonCmdWithRespFlag, all = VexoraSendCompMonCmdWithMultiMode;
  const std::tuple<decltype(one), unsigned, unsigned, int, const char *, int, unsigned, const char *, std::string>
      rows[] = {
          {one, 0x1A, 2, 0x1234, data.data(), 3, 0xA1B2C3D4, "/var/compmonreq1a02",
           std::string("\x34\x12\x02\0\xD4\xC3\xB2\xA1\x03\0\0\0\x11\x22\x33", 15)},
          {all, 0x1A, 2, 0x1234, data.data(), 512, 1, "/var/compmonreq1a00",
           std::string("\x34\x12\x02\0\x01\0\0\0\0\x02\0\0", 12) + data},
          {one, 3, 1, 0x7FFF0005, nullptr, 100, 0, "/var/compmonreq0301", {"\x05\0\x01", 3}},
          {all, 3, 1, -2, data.data(), 0, 0, "/var/compmonreq0300", {"\xFE\xFF\x01", 3}},
          {one, UINT_MAX, UINT_MAX, 0, nullptr, 512, 0, "/var/compmonreqffffffffffffffff", {"\0\0\xFF", 3}},
      };
  for (const auto &[send, kind, instance, command, from, length, flag, pipe, record] : rows) {
    SCOPED_TRACE(pipe);
    const PipeOwner owner(pipe);
    EXPECT_EQ(outcome(send, kind, instance, command, from, length, flag), Outcome{});
    EXPECT_EQ(owner.arrived(), record + zeros(524 - record.size()));
  }
}

TEST_F(Pipes, MonitorsCommandsThatCannotBeSentAreReported) {
  const std::string data = pattern(513), path = "/var/compmonreq0301";
  const auto failed = [](const std::string &text, const std::string &output = "") {
    return reported(kModule + "(LINE)" + text + "\n", output);
  };
  const auto send = [&](int length) {
    return outcome(VexoraSendCompMonCmdWithRespFlag, 3U, 1U, 7, data.data(), length, 0U);
  };
  EXPECT_EQ(send(1), failed("Pipe " + path + " is not exsist!"));
  EXPECT_FALSE(exists(path));
  for (const int refused : {513, INT_MAX, -1, INT_MIN}) {
    EXPECT_EQ(send(refused), failed("Input parameters error!")) << refused;
    EXPECT_EQ(outcome(VexoraSendCompMonCmdWithMultiMode, 3U, 1U, 7, data.data(), refused, 0U),
              failed("Input parameters error!"));
  }
  placeUnopenable(path.c_str());
  EXPECT_EQ(send(1), failed("Open pipe " + path + " error!", "could not open the pipe : " + path + "\n"));
  EXPECT_FALSE(exists(path));
  const PipeOwner owner(path.c_str());
  const FailCall fault("write", 1, EIO);
  EXPECT_EQ(send(1), failed("write message 2 pipe error with " + path + "!", "Unable to write into pipe\n"));
  EXPECT_EQ(owner.arrived(), "");
}

TEST_F(Pipes, RaidStatusGoesOutInATurnOfItsOwnWhichEachFailureGivesBack) {
  EXPECT_EQ(outcome(SendRaidMonitorStatusToPipe, 1, 2), Outcome{-1}) << "no pipe";
  EXPECT_TRUE(semaphore.uses.empty());
  EXPECT_FALSE(exists(kRaidPipe));
  const auto unable = [](const std::string &text) {
    return Outcome{
        -1, "", {{130, "[vexora_pipe_opera:LINE]Unable to " + text + " /var/raid_replace_moni_cmd_pipe pipe\n"}}};
  };
  ASSERT_EQ(mkfifo(kRaidPipe, 0600), 0);
  EXPECT_EQ(sendRaidInATurn(), Outcome{}) << "no reader";
  const PipeOwner owner(kRaidPipe);
  for (const bool waitFails : {false, true}) {
    SCOPED_TRACE(waitFails);
    semaphore.waitFails = waitFails;
    EXPECT_EQ(sendRaidInATurn(), Outcome{});
    EXPECT_EQ(owner.arrived(), "\xA5\xFF");
  }
  for (const auto &[call, expected] : {std::pair{"open", unable("open")}, {"write", unable("write into")}}) {
    const FailCall fault(call, 1, EINTR);
    EXPECT_EQ(sendRaidInATurn(), expected) << "tried once";
    EXPECT_EQ(fault.seen(), 1U) << call;
  }
  EXPECT_EQ(owner.arrived(), "");
  owner.fill();
  EXPECT_EQ(sendRaidInATurn(), unable("write into"));
  semaphore.missing = true;
  EXPECT_EQ(outcome(SendRaidMonitorStatusToPipe, 1, 2), Outcome{-1});
  EXPECT_EQ(owner.arrived(), std::string(1 << 16, '#'));
}

constexpr std::uint32_t kWriters = 4;
#ifdef __arm__
constexpr std::uint32_t kRecords = 50'000;  // an emulated board takes a minute for these
#else
constexpr std::uint32_t kRecords = 1'000'000;
#endif

// A writer's record: writer and sequence number, and up to 1017 bytes more.
std::string record(std::uint32_t writer, std::uint32_t sequence) {
  const std::uint32_t header[] = {writer, sequence};
  const auto random = std::minstd_rand(1 + writer + kWriters * sequence)() / kWriters;
  std::string bytes(sizeof header + random % 1018, static_cast<char>(random / 1018));
  std::memcpy(bytes.data(), header, sizeof header);
  return bytes;
}

// Every second writer sends by path, the others keep the pipe open.
[[noreturn]] void writeAll(std::uint32_t writer) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const SignalStorm storm;
  const int fd = vexora_openpipe(kPipe);
  bool sent = true;
  for (std::uint32_t sequence = 0; sent && sequence < kRecords / kWriters; ++sequence) {
    const std::string bytes = record(writer, sequence);
    const auto size = static_cast<unsigned>(bytes.size());
    sent = (writer % 2 == 0 ? vexora_writepipe_with_fd(fd, bytes.data(), size)
                            : vexora_writepipe(kPipe, bytes.data(), size)) == 0;
  }
  _exit(sent && SignalStorm::signals() > 0 ? 0 : 1);
}

TEST_F(Pipes, RecordsOfManyWritersArriveWholeAndInEachOnesOrder) {
  ASSERT_EQ(vexora_create_pipe(kPipe), 0);
  const int fd = vexora_openpipe(kPipe);
  ASSERT_GE(fd, 0);
  for (std::uint32_t writer = 0; writer < kWriters; ++writer) {
    if (fork() == 0) {
      writeAll(writer);
    }
  }
  const SignalStorm storm;
  std::array<std::uint32_t, kWriters> next = {};
  for (std::uint32_t n = 0; n < kRecords; ++n) {
    std::uint32_t writer = kWriters;
    ASSERT_EQ(vexora_select_readpipe(fd, &writer, 4, 30000), 4) << n;
    const std::string expected = record(writer, next.at(writer)++);
    std::string bytes = expected;
    const auto rest = static_cast<unsigned>(bytes.size() - 4);
    ASSERT_EQ(vexora_readpipe(fd, &bytes[4], rest), static_cast<int>(rest)) << n;
    ASSERT_EQ(bytes, expected) << n;
  }
  int status = 0;
  for (pid_t ended = 0; ended != -1 || errno == EINTR; ended = waitpid(-1, &status, 0)) {
    EXPECT_EQ(status, 0) << "a write failed, or no signal came";
  }
  EXPECT_EQ(vexora_select_readpipe(fd, next.data(), 1, 0), -1) << "more than was written";
  EXPECT_EQ(vexora_closepipe(fd), 0);
  EXPECT_GT(SignalStorm::signals(), 0);
}

TEST_F(Pipes, HealthLevelsHaveNames) {
  for (const auto &[level, name] :
       {std::pair{0U, "info"}, {1U, "warning"}, {2U, "critical"}, {3U, "alert"}, {4U, "na"}, {UINT_MAX, "na"}}) {
    EXPECT_STREQ(TransHealType(level), name) << level;
  }
}

}  // namespace

extern "C" {

int sigwrap_select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout) {
  static auto *const real = original(&::sigwrap_select, "sigwrap_select");
  fd_set last = {};
  FD_SET(count - 1, &last);
  EXPECT_TRUE(std::memcmp(read, &last, sizeof last) == 0 && write == nullptr && except == nullptr) << "for data alone";
  wait.time = {timeout->tv_sec, timeout->tv_usec};
  errno = wait.error;
  return wait.answer ? *wait.answer : real(count, read, write, except, timeout);
}

void *CreateSemaphore(const char *name) {
  semaphore.note("create " + std::string(name));
  return semaphore.missing ? nullptr : original(&CreateSemaphore, "CreateSemaphore")(name);
}

int WaitSemaphore(void *handle) {
  const int result = original(&WaitSemaphore, "WaitSemaphore")(handle);
  semaphore.note("wait");
  return semaphore.waitFails ? -1 : result;
}

int ReleaseSemaphore(void *handle, const char *name) {
  semaphore.note("release " + std::string(name));
  return original(&ReleaseSemaphore, "ReleaseSemaphore")(handle, name);
}
}
}  // namespace vexora::test
