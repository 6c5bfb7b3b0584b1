// SPDX-License-Identifier: Apache-2.0
// The queue transport, against programs that use the system's calls and know nothing of this library.

#include <dlfcn.h>

#include <algorithm>
#include <climits>
#include <tuple>
#include <utility>

#include "firmware/unix.h"
#include "ipc/channels.h"
#include "vexora/ipc.h"

namespace vexora::test {
namespace {

constexpr int kKey = 12347;
const std::string kSentinel(1500, '~');

// What the platform's calls fail with when not 0, and what the last receive asked for.
struct Platform {
  int getError = 0, sendError = 0, receiveError = 0;
  std::tuple<std::size_t, long, int> received;
};
Platform platform;

class MessageQueues : public ChannelTest {
 protected:
  void SetUp() override {
    platform = {};
    ChannelTest::SetUp();
    queue_ = VexoraCreateMsgQueue(kKey);
  }
  void TearDown() override {
    msgctl(queue_, IPC_RMID, nullptr);
    ChannelTest::TearDown();
  }

  Outcome send(const std::string &payload) {
    return outcome(VexoraWriteMsgQueue, kKey, payload.data(), static_cast<unsigned>(payload.size()));
  }
  Outcome receive(std::string &buffer) {
    return outcome(VexoraReadMsgQueue, queue_, buffer.data(), static_cast<unsigned>(buffer.size()));
  }
  [[nodiscard]] Outcome refusedSend(int error) const {
    return {-1, logged("Send MsgQueue Error MsgId:" + std::to_string(queue_) + ";ErrNo:" + std::to_string(error))};
  }
  [[nodiscard]] Outcome failedReceive(int error) const {
    const std::string text =
        "ead the msgid date error: msgid=" + std::to_string(queue_) + ", RetVal=-1;errorNo:" + std::to_string(error);
    return {-1, "[Error]: r" + text + logged("R" + text)};
  }

  int queue_ = -1;
};

TEST_F(MessageQueues, CreationGivesAnyoneTheQueueOfTheKey) {
  ASSERT_GE(queue_, 0);
  EXPECT_EQ(VexoraCreateMsgQueue(kKey), queue_);
  EXPECT_EQ(msgget(kKey, 0), queue_);
  msqid_ds state = {};
  ASSERT_EQ(msgctl(queue_, IPC_STAT, &state), 0);
  EXPECT_EQ(state.msg_perm.mode & 0777, 0666);

  platform.getError = ENOSPC;
  const Outcome failed = {-1, logged("Error creating thread MsgQueue\xE3\x80\x80key :12347ErroNo:28")};
  EXPECT_EQ(outcome(VexoraCreateMsgQueue, kKey), failed);
  EXPECT_EQ(send("payload"), failed);
  platform.getError = 0;
  EXPECT_EQ(taken(queue_), (QueueMessage{-1, "none"}));
}

TEST_F(MessageQueues, PayloadBeginsInTheTypesSecondByte) {
  const std::string longest = pattern(1024);
  const std::pair<std::string, QueueMessage> rows[] = {
      {"", {0x01, ""}},
      {"\x11", {0x1101, zeros(1)}},
      {"\x11\x22", {0x221101, zeros(2)}},
      {"\x11\x22\x33", {0x33221101, zeros(3)}},
      {"\xFF\xFF\x7F\xFE", {0x7FFFFF01, "\xFE" + zeros(3)}},
      {longest, {0x33221101, longest.substr(3) + zeros(3)}},
  };
  for (const auto &[payload, message] : rows) {
    SCOPED_TRACE(payload.size());
    EXPECT_EQ(send(payload), Outcome{});
    EXPECT_EQ(taken(queue_), message);
    // The kernel gives each program the type in its own word size, so the second sender is one of any.
    RawMessage foreign = {message.type, {}};
    std::copy(message.text.begin(), message.text.end(), foreign.text.begin());
    EXPECT_EQ(send(payload), Outcome{});
    EXPECT_EQ(msgsnd(queue_, &foreign, message.text.size(), IPC_NOWAIT), 0);
    for (int sender = 0; sender < 2; ++sender) {
      std::string buffer = kSentinel;
      EXPECT_EQ(receive(buffer), Outcome{});
      EXPECT_EQ(buffer, payload + zeros(1500 - payload.size()));
    }
  }
}

TEST_F(MessageQueues, SendsThatThePlatformRefusesAreLogged) {
  const auto refusedSize = [](const std::string &size) {
    return Outcome{-1, logged("VexoraWriteMsgQueue Error Size:" + size + ";Max:1024")};
  };
  EXPECT_EQ(send(pattern(1025)), refusedSize("1025"));
  EXPECT_EQ(outcome(VexoraWriteMsgQueue, kKey, "", UINT_MAX), refusedSize("-1"));
  EXPECT_EQ(outcome(VexoraWriteMsgQueue, kKey, nullptr, 7), refusedSize("7"));

  EXPECT_EQ(send("\x01\x02\x80"), refusedSend(EINVAL)) << "a negative type";
  EXPECT_EQ(send("\xFF\xFF\xFF"), refusedSend(EINVAL)) << "a negative type";
  platform.sendError = EACCES;
  EXPECT_EQ(send("payload"), refusedSend(EACCES));
  platform.sendError = 0;
  EXPECT_EQ(taken(queue_), (QueueMessage{-1, "none"}));
}

TEST_F(MessageQueues, AFullQueueRefusesAtOnce) {
  msqid_ds state = {};
  ASSERT_EQ(msgctl(queue_, IPC_STAT, &state), 0);
  const std::string payload = pattern(1024);
  for (auto room = state.msg_qbytes / 1024; room > 0; --room) {
    ASSERT_EQ(send(payload), Outcome{});
  }
  EXPECT_EQ(send(payload), refusedSend(EAGAIN));
  static_cast<void>(taken(queue_));
  EXPECT_EQ(send(payload), Outcome{});
}

TEST_F(MessageQueues, ReceivingWaitsForAnyTypeAndFillsNoMoreThanAsked) {
  std::string buffer = kSentinel;
  ASSERT_EQ(send("\x11\x22\x33\x44"), Outcome{});
  EXPECT_EQ(outcome(VexoraReadMsgQueue, queue_, buffer.data(), 2), Outcome{});
  EXPECT_EQ(buffer, "\x11\x22" + kSentinel.substr(2));
  EXPECT_EQ(platform.received, std::tuple(1025U, 0, 0)) << "most text, any type, waiting";

  // One text byte more than this library sends still comes, without it; two more don't.
  const auto sendText = [&](std::size_t size) {
    RawMessage foreign = {0x44332201, {}};
    foreign.text.fill('x');
    return msgsnd(queue_, &foreign, size, IPC_NOWAIT);
  };
  ASSERT_EQ(sendText(1025), 0);
  EXPECT_EQ(receive(buffer), Outcome{});
  EXPECT_EQ(buffer, "\x22\x33\x44" + std::string(1021, 'x') + zeros(476));
  ASSERT_EQ(sendText(1026), 0);
  EXPECT_EQ(receive(buffer), failedReceive(E2BIG));
  EXPECT_EQ(buffer, zeros(1500));
  EXPECT_EQ(taken(queue_), (QueueMessage{0x44332201, std::string(1026, 'x')})) << "stays queued";
}

TEST_F(MessageQueues, FailedReceivesArePrintedAndLogged) {
  std::string buffer(8, '~');
  const Outcome refused = {-1, logged("VexoraReadMsgQueue Error")};
  EXPECT_EQ(outcome(VexoraReadMsgQueue, -1, buffer.data(), 8), refused);
  EXPECT_EQ(outcome(VexoraReadMsgQueue, queue_, nullptr, 8), refused);
  EXPECT_EQ(buffer, "~~~~~~~~");

  platform.receiveError = EINTR;
  EXPECT_EQ(receive(buffer), failedReceive(EINTR));
  EXPECT_EQ(buffer, zeros(8));
  platform.receiveError = 0;
  ASSERT_EQ(msgctl(queue_, IPC_RMID, nullptr), 0);
  EXPECT_EQ(receive(buffer), failedReceive(EINVAL));
}

}  // namespace
}  // namespace vexora::test

using vexora::test::platform;

extern "C" {

int msgget(key_t key, int msgflg) noexcept {
  static auto *const real = reinterpret_cast<decltype(&msgget)>(dlsym(RTLD_NEXT, "msgget"));
  errno = platform.getError;
  return platform.getError != 0 ? -1 : real(key, msgflg);
}

int sigwrap_msgsnd(int queue, const void *message, std::size_t size, int flags) {
  static auto *const real = reinterpret_cast<decltype(&sigwrap_msgsnd)>(dlsym(RTLD_NEXT, "sigwrap_msgsnd"));
  errno = platform.sendError;
  return platform.sendError != 0 ? -1 : real(queue, message, size, flags);
}

ssize_t sigwrap_msgrcv(int queue, void *message, std::size_t size, long type, int flags) {
  static auto *const real = reinterpret_cast<decltype(&sigwrap_msgrcv)>(dlsym(RTLD_NEXT, "sigwrap_msgrcv"));
  platform.received = {size, type, flags};
  errno = platform.receiveError;
  return platform.receiveError != 0 ? -1 : real(queue, message, size, type, flags);
}
}
