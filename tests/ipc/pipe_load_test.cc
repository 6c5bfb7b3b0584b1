// SPDX-License-Identifier: Apache-2.0
// A pipe under load: several processes write records of all sizes, one reads them, and signals interrupt all of them.

#include <sys/prctl.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string_view>

#include "ipc/channels.h"
#include "vexora/ipc.h"

namespace vexora::test {
namespace {

constexpr const char *kPipe = "/var/pipe";
constexpr std::uint32_t kWriters = 4;
#ifdef __arm__
constexpr std::uint32_t kRecords = 500'000;  // a million takes half a minute under emulation
#else
constexpr std::uint32_t kRecords = 1'000'000;
#endif

struct Header {
  std::uint32_t writer, sequence, length, checksum;
};
using Body = std::array<char, 1025 - sizeof(Header)>;

std::uint32_t checksum(const Header &header, std::string_view body) {
  std::uint32_t sum = header.writer + 31 * (header.sequence + 31 * header.length);
  for (const char byte : body) {
    sum = sum * 31 + static_cast<unsigned char>(byte);
  }
  return sum;
}

// Every second writer goes by path, the others keep the pipe open.
bool writeAll(std::uint32_t writer) {
  const SignalStorm storm;
  std::minstd_rand random(writer + 1);
  const int fd = vexora_openpipe(kPipe);
  std::array<char, 1025> record = {};
  for (std::uint32_t sequence = 0; sequence < kRecords / kWriters; ++sequence) {
    const std::string_view body(&record[sizeof(Header)], random() % (sizeof(Body) + 1));
    std::memset(&record[sizeof(Header)], static_cast<int>(random() % 256), body.size());
    Header header = {writer, sequence, static_cast<std::uint32_t>(body.size()), 0};
    header.checksum = checksum(header, body);
    std::memcpy(record.data(), &header, sizeof header);
    const auto size = static_cast<unsigned>(sizeof header + body.size());
    if ((writer % 2 == 0 ? vexora_writepipe_with_fd(fd, record.data(), size)
                         : vexora_writepipe(kPipe, record.data(), size)) != 0) {
      return false;
    }
  }
  return vexora_closepipe(fd) == 0 && SignalStorm::signals() > 0;
}

class PipeLoad : public ChannelTest {};

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
  std::uint64_t bytes = 0;
  const auto begin = std::chrono::steady_clock::now();
  for (std::uint32_t n = 0; n < kRecords; ++n) {
    Header header = {};
    Body body;
    ASSERT_EQ(vexora_select_readpipe(fd, &header, sizeof header, kLongEnough), static_cast<int>(sizeof header)) << n;
    ASSERT_LT(header.writer, kWriters) << n;
    ASSERT_EQ(header.sequence, next[header.writer]++) << n;
    ASSERT_LE(header.length, body.size()) << n;
    if (header.length > 0) {
      ASSERT_EQ(vexora_readpipe(fd, body.data(), header.length), static_cast<int>(header.length)) << n;
    }
    ASSERT_EQ(header.checksum, checksum(header, {body.data(), header.length})) << n;
    bytes += sizeof header + header.length;
  }
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
  for (const pid_t writer : writers) {
    int status = -1;
    while (waitpid(writer, &status, 0) == -1 && errno == EINTR) {
    }
    EXPECT_EQ(status, 0) << "a write failed, or no signal came";
  }
  EXPECT_EQ(vexora_select_readpipe(fd, next.data(), 1, 0), -1) << "more than was written";
  EXPECT_EQ(vexora_closepipe(fd), 0);
  EXPECT_GT(SignalStorm::signals(), 0);
  std::printf("%u records of %u writers, %.0f MB in %.1f s: %.0f records/s; %d signals in the reader\n", kRecords,
              kWriters, static_cast<double>(bytes) / 1e6, seconds.count(), kRecords / seconds.count(),
              SignalStorm::signals());
}

}  // namespace
}  // namespace vexora::test
