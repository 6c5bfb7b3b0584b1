// SPDX-License-Identifier: Apache-2.0
// The queue transport, against programs that use the system's calls without this library, and the requests as they
// arrive in the daemons' queues and pipes, byte for byte.

#include <sys/msg.h>

#include "firmware/unix.h"
#include "ipc/channels.h"
#include "vexora/ipc.h"

namespace vexora::test {
namespace {

constexpr int kKey = 12347;  // the machine-check daemon's
constexpr int kIdlKey = 12345;
const std::string kSentinel(1500, '~');

// The errno of the interposed calls; 0 lets them through.
struct Kernel {
  int getError = 0, sendError = 0, receiveError = 0;
};
Kernel kernel;

// A message as another program on the machine sees it: type and text.
using QueueMessage = std::pair<long, std::string>;
const QueueMessage kNoMessage = {-1, "none"};

struct RawMessage {
  long type;
  std::array<char, 2000> text;
};

QueueMessage taken(int queue) {
  RawMessage raw = {};
  const ssize_t length = msgrcv(queue, &raw, raw.text.size(), 0, IPC_NOWAIT);
  return length < 0 ? kNoMessage : QueueMessage{raw.type, {raw.text.data(), static_cast<size_t>(length)}};
}

class MessageQueues : public ChannelTest {
 protected:
  MessageQueues() { kernel = {}; }
  ~MessageQueues() override {
    for (const int key : {kKey, kIdlKey}) {
      msgctl(::msgget(key, 0), IPC_RMID, nullptr);
    }
    setenv("TZ", "UTC", 1);
  }

  Outcome send(const std::string &payload) {
    return outcome(VexoraWriteMsgQueue, kKey, payload.data(), static_cast<unsigned>(payload.size()));
  }
  Outcome receive(std::string &buffer) {
    return outcome(VexoraReadMsgQueue, queue_, buffer.data(), static_cast<unsigned>(buffer.size()));
  }
  [[nodiscard]] Outcome refusedSend(int error, int key = kKey) const {
    return {-1,
            logged("Send MsgQueue Error MsgId:" + std::to_string(msgget(key, 0)) + ";ErrNo:" + std::to_string(error))};
  }
  [[nodiscard]] Outcome failedReceive(int error) const {
    const std::string text =
        "ead the msgid date error: msgid=" + std::to_string(queue_) + ", RetVal=-1;errorNo:" + std::to_string(error);
    return {-1, "[Error]: r" + text + logged("R" + text)};
  }

  const int queue_ = VexoraCreateMsgQueue(kKey);
};

TEST_F(MessageQueues, CreationGivesAnyoneTheQueueOfTheKey) {
  ASSERT_GE(queue_, 0);
  EXPECT_EQ(VexoraCreateMsgQueue(kKey), queue_);
  EXPECT_EQ(msgget(kKey, 0), queue_);
  msqid_ds state = {};
  ASSERT_EQ(msgctl(queue_, IPC_STAT, &state), 0);
  EXPECT_EQ(state.msg_perm.mode & 0777, 0666);

  kernel.getError = ENOSPC;
  const Outcome failed = {-1, logged("Error creating thread MsgQueue\xE3\x80\x80key :12347ErroNo:28")};
  EXPECT_EQ(outcome(VexoraCreateMsgQueue, kKey), failed);
  EXPECT_EQ(send("payload"), failed);
  kernel.getError = 0;
  EXPECT_EQ(taken(queue_), kNoMessage);
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
    // Each program sees the type in its own word size, so a program without this library sends the second message.
    const auto &[type, text] = message;
    RawMessage foreign = {type, {}};
    text.copy(foreign.text.data(), text.size());
    EXPECT_EQ(send(payload), Outcome{});
    EXPECT_EQ(msgsnd(queue_, &foreign, text.size(), IPC_NOWAIT), 0);
    for (int sender = 0; sender < 2; ++sender) {
      std::string buffer = kSentinel;
      EXPECT_EQ(receive(buffer), Outcome{});
      EXPECT_EQ(buffer, payload + zeros(1500 - payload.size()));
    }
  }
}

TEST_F(MessageQueues, SendsThatTheKernelRefusesAreLogged) {
  const auto refusedSize = [](const std::string &size) {
    return Outcome{-1, logged("VexoraWriteMsgQueue Error Size:" + size + ";Max:1024")};
  };
  EXPECT_EQ(send(pattern(1025)), refusedSize("1025"));
  EXPECT_EQ(outcome(VexoraWriteMsgQueue, kKey, "", UINT_MAX), refusedSize("-1"));
  EXPECT_EQ(outcome(VexoraWriteMsgQueue, kKey, nullptr, 7), refusedSize("7"));
  EXPECT_EQ(send("\x01\x02\x80"), refusedSend(EINVAL)) << "a negative type";
  kernel.sendError = EACCES;
  EXPECT_EQ(send("payload"), refusedSend(EACCES));
  EXPECT_EQ(taken(queue_), kNoMessage);
}

TEST_F(MessageQueues, ReceivingWaitsForAnyTypeAndFillsNoMoreThanAsked) {
  std::string buffer = kSentinel;
  ASSERT_EQ(send("\x11\x22\x33\x44"), Outcome{});
  EXPECT_EQ(outcome(VexoraReadMsgQueue, queue_, buffer.data(), 2), Outcome{});
  EXPECT_EQ(buffer, "\x11\x22" + kSentinel.substr(2));

  // A text one byte longer than this library's maximum is received, without that byte. A longer one is refused.
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

  kernel.receiveError = EINTR;
  EXPECT_EQ(receive(buffer), failedReceive(EINTR));
  EXPECT_EQ(buffer, zeros(8));
}

TEST_F(MessageQueues, MachineCheckRequestHasAHeadOfFourBytes) {
  const std::string request = pattern(256);
  EXPECT_EQ(outcome(VexoraPostReqToMCA, request.data()), Outcome{});
  EXPECT_EQ(taken(queue_), (QueueMessage{0x101, zeros(1) + request + zeros(3)}));
  EXPECT_EQ(outcome(VexoraPostReqToMCA, nullptr), Outcome{-1});
  kernel.sendError = EAGAIN;
  EXPECT_EQ(outcome(VexoraPostReqToMCA, request.data()), refusedSend(EAGAIN));
}

TEST_F(MessageQueues, TimedDiagnosisRecordsGetTheLocalTime) {
  const std::string head("\x01kept!!!", 8), rest = pattern(208);
  const std::tuple<const char *, std::time_t, std::string> rows[] = {
      {"UTC", 1714571107, "cG2f"},                                    // 63 47 32 66
      {"XST-02:00", 1714571107, "\x83\x63\x32\x66"},                  // 7,200 more
      {"XST+05:30", 1714571107, std::string("\x0B\xFA\x31\x66", 4)},  // 19,800 less
      {"XST5XDT,M3.2.0,M11.1.0", 1714571107, "\x23\x0F\x32\x66"},     // summer: 14,400 less
      {"XST5XDT,M3.2.0,M11.1.0", 1704067200, "\x30\xBA\x91\x65"},     // winter: 18,000 less
      {"XST-02:00", INT32_MAX, "\x1F\x1C" + zeros(1) + "\x80"},       // after the largest signed time
      {"XST+05:30", 0, std::string("\xA8\xB2\xFF\xFF", 4)},           // before the epoch
  };
  for (const auto &[zone, now, bytes] : rows) {
    SCOPED_TRACE(zone + (" " + std::to_string(now)));
    setenv("TZ", zone, 1);
    const FixedClock clock(now);
    std::string record = head, text = zeros(1);
    record.append("????").append(rest);
    text.append(head).append(bytes).append(rest).append(zeros(39));
    EXPECT_EQ(VexoraPostReqToIDL(record.data()), 0);
    EXPECT_EQ(taken(msgget(kIdlKey, 0)), (QueueMessage{0x01, text}));
  }
}

TEST_F(MessageQueues, OtherDiagnosisRecordsGoAsTheyAreOrNotAtAll) {
  const std::string rest = pattern(219);
  EXPECT_EQ(outcome(VexoraPostReqToIDL, (zeros(1) + rest + "~").data()), Outcome{});
  EXPECT_EQ(taken(msgget(kIdlKey, 0)), (QueueMessage{0x01, zeros(2) + rest + zeros(39)}));
  kernel.sendError = EAGAIN;
  const Outcome unsent = outcome(VexoraPostReqToIDL, (zeros(1) + rest).data());
  EXPECT_EQ(unsent, refusedSend(EAGAIN, kIdlKey));
  msgctl(msgget(kIdlKey, 0), IPC_RMID, nullptr);
  EXPECT_EQ(outcome(VexoraPostReqToIDL, ("\x02" + rest).data()), (Outcome{1, "the IDL Log Type(2) is Error\n"}));
  EXPECT_EQ(outcome(VexoraPostReqToIDL, ("\xFF" + rest).data()), (Outcome{1, "the IDL Log Type(255) is Error\n"}));
  EXPECT_EQ(outcome(VexoraPostReqToIDL, nullptr), Outcome{-1});
  EXPECT_EQ(msgget(kIdlKey, 0), -1) << "no queue was asked for";
}

TEST_F(MessageQueues, PipeRequestsArriveByteByByteOrAreReported) {
  const std::string most = pattern(1026);
  // The last column is the result when the pipe can't be opened.
  const std::tuple<const char *, std::function<int()>, std::string, int> rows[] = {
      {"/var/vexora_okl_pipe", VexoraPostReqToOneKeyLog, "\x03" + zeros(259), -1},
      {"/var/vexora_ipmimain_pipe", [] { return VexoraAddSELToIPMIMain("0123456789"); }, zeros(2) + "0123456789", -1},
      {"/var/vexora_ipmimain_pipe", [] { return VexoraAddTaskFailToSEL(5, 6, 7); },
       std::string("\0\0\x20\0\0\x18\x02\0\x05\x01\x06\x07", 12), 0},
      {"/var/vexora_ipmimain_pipe", [] { return VexoraAddTaskFailToSEL(0x1FF, 0x280, UINT_MAX - 1); },
       std::string("\0\0\x20\0\0\x18\x02\0\xFF\x01\x80\xFE", 12), 0},
      {"/var/tmp/ipmi_mupr_cmu_pipe", [&] { return VexoraPostMuprData(most.data(), 1025); }, most.substr(0, 1025), -1},
      {"/var/tmp/ipmi_mupr_cmu_pipe", [&] { return VexoraPostMuprData(most.data(), 1); }, most.substr(0, 1), -1},
  };
  for (const auto &[pipe, send, record, failure] : rows) {
    {
      const PipeOwner owner(pipe);
      EXPECT_EQ(outcome(send), Outcome{}) << pipe;
      EXPECT_EQ(owner.arrived(), record) << pipe;
    }
    remove(pipe);
    placeUnopenable(pipe);
    const std::string report = std::string("[libvexora_basefunction:LINE]Unable to open the command pipe::") + pipe +
                               " --------------libvexora_basefunction vexora_writepipe LINE\n";
    EXPECT_EQ(outcome(send), (Outcome{failure, "", {{130, report}}}));
    remove(pipe);
  }
  EXPECT_EQ(outcome(VexoraPostMuprData, most.data(), 1026), Outcome{-1});
  EXPECT_EQ(outcome(VexoraPostMuprData, nullptr, 4), Outcome{-1});
  EXPECT_EQ(outcome(VexoraAddSELToIPMIMain, nullptr), Outcome{-1});
}

TEST_F(MessageQueues, ATaskFailureNamesItsThreadForGood) {
  std::array<char, 16> name = {};
  EXPECT_EQ(VexoraAddTaskFailToSEL(1, 2, 3), 0);
  prctl(PR_GET_NAME, name.data());
  EXPECT_STREQ(name.data(), "VexoraAddTaskFa");
}

}  // namespace

extern "C" {

int msgget(key_t key, int msgflg) noexcept {
  errno = kernel.getError;
  return kernel.getError != 0 ? -1 : original(&::msgget, "msgget")(key, msgflg);
}

int sigwrap_msgsnd(int queue, const void *message, std::size_t size, int flags) {
  EXPECT_EQ(flags, IPC_NOWAIT);
  errno = kernel.sendError;
  return kernel.sendError != 0 ? -1 : original(&::sigwrap_msgsnd, "sigwrap_msgsnd")(queue, message, size, flags);
}

ssize_t sigwrap_msgrcv(int queue, void *message, std::size_t size, long type, int flags) {
  const RawMessage zero = {};
  EXPECT_EQ(std::memcmp(message, &zero, sizeof zero.type + size), 0) << "the buffer handed over";
  EXPECT_EQ(std::tuple(size, type, flags), std::tuple(1025U, 0, 0)) << "most text, any type, waiting";
  errno = kernel.receiveError;
  return kernel.receiveError != 0 ? -1
                                  : original(&::sigwrap_msgrcv, "sigwrap_msgrcv")(queue, message, size, type, flags);
}
}
}  // namespace vexora::test
