// SPDX-License-Identifier: Apache-2.0
// The requests as the daemons find them in their queues and pipes, byte by byte.

#include <sys/prctl.h>

#include <climits>
#include <functional>
#include <thread>
#include <tuple>

#include "ipc/channels.h"
#include "vexora/ipc.h"

namespace vexora::test {
namespace {

constexpr int kMcaKey = 12347;
constexpr int kIdlKey = 12345;
constexpr const char *kOneKeyLogPipe = "/var/vexora_okl_pipe";
constexpr const char *kIpmiMainPipe = "/var/vexora_ipmimain_pipe";
constexpr const char *kMuprPipe = "/var/tmp/ipmi_mupr_cmu_pipe";

// While it lives, the local time is this zone's.
class LocalZone {
 public:
  explicit LocalZone(const std::string &zone) : zone_("TZ=" + zone) { environ = variables_.data(); }
  ~LocalZone() { environ = before_; }
  LocalZone(const LocalZone &) = delete;
  LocalZone &operator=(const LocalZone &) = delete;

 private:
  std::string zone_;
  std::array<char *, 2> variables_ = {zone_.data(), nullptr};
  char **before_ = environ;
};

class DaemonRequests : public ChannelTest {
 protected:
  void SetUp() override {
    for (const int key : {kMcaKey, kIdlKey}) {
      msgctl(msgget(key, 0), IPC_RMID, nullptr);
    }
    ChannelTest::SetUp();
  }
};

TEST_F(DaemonRequests, MachineCheckRequestHasAHeadOfFourBytesAndIsRefusedByAFullQueue) {
  std::string request = pattern(256);
  EXPECT_EQ(outcome(VexoraPostReqToMCA, request.data()), Outcome{});
  EXPECT_EQ(taken(msgget(kMcaKey, 0)), (QueueMessage{0x101, zeros(1) + request + zeros(3)}));

  EXPECT_EQ(VexoraPostReqToMCA(request.data()), 0);
  std::string payload(260, '~');
  EXPECT_EQ(VexoraReadMsgQueue(VexoraCreateMsgQueue(kMcaKey), payload.data(), 260), 0);
  EXPECT_EQ(payload, std::string("\x01\0\0\0", 4) + request);
  EXPECT_EQ(outcome(VexoraPostReqToMCA, nullptr), Outcome{-1});

  const int queue = msgget(kMcaKey, 0);
  static_cast<void>(capturedOutput([&] {
    while (VexoraWriteMsgQueue(kMcaKey, request.data(), 256) == 0) {
    }
  }));
  EXPECT_EQ(outcome(VexoraPostReqToMCA, request.data()),
            (Outcome{-1, logged("Send MsgQueue Error MsgId:" + std::to_string(queue) + ";ErrNo:11")}));
}

TEST_F(DaemonRequests, TimedDiagnosisRecordsGetTheLocalTime) {
  const std::string head("\x01kept!!!", 8), rest = pattern(208);
  const std::tuple<const char *, std::time_t, std::string> rows[] = {
      {"UTC", 1714571107, "cG2f"},                                    // 63 47 32 66
      {"XST-02:00", 1714571107, "\x83\x63\x32\x66"},                  // 7,200 more
      {"XST+05:30", 1714571107, std::string("\x0B\xFA\x31\x66", 4)},  // 19,800 less
      {"XST5XDT,M3.2.0,M11.1.0", 1714571107, "\x23\x0F\x32\x66"},     // summer: 14,400 less
      {"XST5XDT,M3.2.0,M11.1.0", 1704067200, "\x30\xBA\x91\x65"},     // winter: 18,000 less
      {"XST-02:00", INT32_MAX, "\x1F\x1C" + zeros(1) + "\x80"},       // past the signed end
      {"XST+05:30", 0, std::string("\xA8\xB2\xFF\xFF", 4)},           // before the epoch
  };
  for (const auto &[zone, now, bytes] : rows) {
    SCOPED_TRACE(zone + (" " + std::to_string(now)));
    const LocalZone local(zone);
    const FixedClock clock(now);
    std::string record = head, text = zeros(1);
    record.append("????").append(rest);
    text.append(head).append(bytes).append(rest).append(zeros(39));
    EXPECT_EQ(VexoraPostReqToIDL(record.data()), 0);
    EXPECT_EQ(taken(msgget(kIdlKey, 0)), (QueueMessage{0x01, text}));
  }
}

TEST_F(DaemonRequests, OtherDiagnosisRecordsGoAsTheyAreOrNotAtAll) {
  const std::string rest = pattern(219);
  EXPECT_EQ(outcome(VexoraPostReqToIDL, (zeros(1) + rest).data()), Outcome{});
  EXPECT_EQ(taken(msgget(kIdlKey, 0)), (QueueMessage{0x01, zeros(2) + rest + zeros(39)}));
  EXPECT_EQ(outcome(VexoraPostReqToIDL, (zeros(1) + rest).data()), Outcome{});
  std::string payload(260, '~');
  EXPECT_EQ(VexoraReadMsgQueue(VexoraCreateMsgQueue(kIdlKey), payload.data(), 260), 0);
  EXPECT_EQ(payload, zeros(5) + rest + zeros(36));

  msgctl(msgget(kIdlKey, 0), IPC_RMID, nullptr);
  EXPECT_EQ(outcome(VexoraPostReqToIDL, ("\x02" + rest).data()), (Outcome{1, "the IDL Log Type(2) is Error\n"}));
  EXPECT_EQ(outcome(VexoraPostReqToIDL, ("\xFF" + rest).data()), (Outcome{1, "the IDL Log Type(255) is Error\n"}));
  EXPECT_EQ(outcome(VexoraPostReqToIDL, nullptr), Outcome{-1});
  EXPECT_EQ(msgget(kIdlKey, 0), -1) << "no queue was asked for";
}

TEST_F(DaemonRequests, PipeRequestsArriveByteByByteOrAreReported) {
  const std::string most = pattern(1026);
  // The last column is the result when the pipe can't be opened.
  const std::tuple<const char *, std::function<int()>, std::string, int> rows[] = {
      {kOneKeyLogPipe, VexoraPostReqToOneKeyLog, "\x03" + zeros(259), -1},
      {kIpmiMainPipe, [] { return VexoraAddSELToIPMIMain("0123456789"); }, zeros(2) + "0123456789", -1},
      {kIpmiMainPipe, [] { return VexoraAddTaskFailToSEL(5, 6, 7); },
       std::string("\0\0\x20\0\0\x18\x02\0\x05\x01\x06\x07", 12), 0},
      {kIpmiMainPipe, [] { return VexoraAddTaskFailToSEL(0x1FF, 0x280, UINT_MAX - 1); },
       std::string("\0\0\x20\0\0\x18\x02\0\xFF\x01\x80\xFE", 12), 0},
      {kMuprPipe, [&] { return VexoraPostMuprData(most.data(), 1025); }, most.substr(0, 1025), -1},
      {kMuprPipe, [&] { return VexoraPostMuprData(most.data(), 1); }, most.substr(0, 1), -1},
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

TEST_F(DaemonRequests, ATaskFailureNamesItsThreadForGood) {
  std::array<char, 16> mine = {}, still = {}, its = {};
  prctl(PR_GET_NAME, mine.data());
  std::thread([&] {
    EXPECT_EQ(VexoraAddTaskFailToSEL(1, 2, 3), 0);
    prctl(PR_GET_NAME, its.data());
  }).join();
  prctl(PR_GET_NAME, still.data());
  EXPECT_STREQ(its.data(), "VexoraAddTaskFa");
  EXPECT_EQ(still, mine);
}

}  // namespace
}  // namespace vexora::test
