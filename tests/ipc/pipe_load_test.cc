// SPDX-License-Identifier: Apache-2.0
// A pipe under load: several processes write records of all sizes, one reads them, and signals interrupt all of them.

#include <sys/prctl.h>

#include <array>
#include <cstring>
#include <random>

#include "ipc/channels.h"
#include "vexora/ipc.h"

namespace vexora::test {
namespace {

constexpr const char *kPipe = "/var/pipe";
constexpr std::uint32_t kWriters = 4;
#ifdef __arm__
constexpr std::uint32_t kRecords = 50'000;  // an emulated board takes a minute for these
#else
constexpr std::uint32_t kRecords = 1'000'000;
#endif

// A record's body is its mark, repeated.
struct Header {
  std::uint32_t writer, sequence, length;

  [[nodiscard]] char mark() const { return static_cast<char>(31 * (writer + 31 * (sequence + 31 * length)) >> 3); }
};
constexpr std::size_t kMostBody = 1025 - sizeof(Header);

// Every second writer goes by path, the others keep the pipe open.
bool writeAll(std::uint32_t writer) {
  const SignalStorm storm;
  std::minstd_rand random(writer + 1);
  const int fd = vexora_openpipe(kPipe);
  bool sent = true;
  for (std::uint32_t sequence = 0; sent && sequence < kRecords / kWriters; ++sequence) {
    const Header header = {writer, sequence, static_cast<std::uint32_t>(random() % (kMostBody + 1))};
    std::string record(sizeof header + header.length, header.mark());
    std::memcpy(record.data(), &header, sizeof header);
    const auto size = static_cast<unsigned>(record.size());
    sent = (writer % 2 == 0 ? vexora_writepipe_with_fd(fd, record.data(), size)
                            : vexora_writepipe(kPipe, record.data(), size)) == 0;
  }
  return vexora_closepipe(fd) == 0 && sent && SignalStorm::signals() > 0;
}

using PipeLoad = ChannelTest;

TEST_F(PipeLoad, RecordsOfManyWritersArriveWholeAndInEachOnesOrder) {
  constexpr int kLongEnough = 30000;
  ASSERT_EQ(vexora_create_pipe(kPipe), 0);
  const int fd = vexora_openpipe(kPipe);
  ASSERT_GE(fd, 0);
  std::array<pid_t, kWriters> writers = {};
  for (std::uint32_t writer = 0; writer < kWriters; ++writer) {
    writers[writer] = fork();
    if (writers[writer] == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      _exit(writeAll(writer) ? 0 : 1);
    }
  }
  const SignalStorm storm;
  std::array<std::uint32_t, kWriters> next = {};
  for (std::uint32_t n = 0; n < kRecords; ++n) {
    Header header = {};
    ASSERT_EQ(vexora_select_readpipe(fd, &header, sizeof header, kLongEnough), static_cast<int>(sizeof header)) << n;
    ASSERT_LT(header.writer, kWriters) << n;
    ASSERT_EQ(header.sequence, next[header.writer]++) << n;
    ASSERT_LE(header.length, kMostBody) << n;
    std::string body(header.length, '\0');
    if (header.length > 0) {
      ASSERT_EQ(vexora_readpipe(fd, body.data(), header.length), static_cast<int>(header.length)) << n;
    }
    ASSERT_EQ(body, std::string(header.length, header.mark())) << n;
  }
  for (const pid_t writer : writers) {
    int status = -1;
    while (waitpid(writer, &status, 0) == -1 && errno == EINTR) {
    }
    EXPECT_EQ(status, 0) << "a write failed, or no signal came";
  }
  EXPECT_EQ(vexora_select_readpipe(fd, next.data(), 1, 0), -1) << "more than was written";
  EXPECT_EQ(vexora_closepipe(fd), 0);
  EXPECT_GT(SignalStorm::signals(), 0);
}

}  // namespace
}  // namespace vexora::test
