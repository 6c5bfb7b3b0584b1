// SPDX-License-Identifier: Apache-2.0
// The host's stand-ins for the firmware's closed libraries, through the functions that the library calls.

#include <sys/ipc.h>
#include <sys/msg.h>

#include "firmware/encoding.h"
#include "firmware/featuredefine.h"
#include "firmware/gpio.h"
#include "firmware/ipmipdk.h"
#include "firmware/unix.h"
#include "support/test.h"

namespace vexora::test {
namespace {

class StandIns : public RootTest {};

TEST_F(StandIns, Base64IsTheUsualOne) {
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},         {"Zg==", "f"}, {"Zm9vYmE=", "fooba"}, {"Zg=", ""},      {"====", ""},
      {"Zg==Zm8=", ""}, {"Z=8=", ""},  {"Zm9v\n", ""},        {"Zm9v----", ""}, {"+/8A", {"\xfb\xff\0", 3}}};
  for (const auto &[text, plain] : rows) {
    std::string out(16, '~');
    EXPECT_EQ(cyoBase64Decode(out.data(), text.data(), text.size()), plain.size()) << text;
    EXPECT_EQ(out, plain + std::string(16 - plain.size(), '~')) << text;
  }
}

TEST_F(StandIns, FeaturesAndGpioLinesAreTheirFiles) {
  write("/conf/platform_features", "# CONFIG_B\nCONFIG_A\n\nCONFIG_CD");
  for (const char *name : {"CONFIG_A", "CONFIG_CD", "CONFIG_B", "CONFIG_C", "", "# CONFIG_B"}) {
    EXPECT_EQ(IsFeatureEnabled(name) != 0, name == std::string("CONFIG_A") || name == std::string("CONFIG_CD")) << name;
  }
  EXPECT_EQ(hostGpioRead(7), -1);
  EXPECT_EQ(hostGpioWrite(7, 1), 0);
  EXPECT_EQ(hostGpioWrite(7, 2), -1);
  EXPECT_EQ(hostGpioRead(7), 1);
}

// A sensor's reading; none when the firmware refuses.
std::optional<double> reading(unsigned sensor) {
  double value = 0;
  return PDK_GetSensorRealValueFromSharedMem(sensor, &value, 1) == 0 ? std::optional(value) : std::nullopt;
}

TEST_F(StandIns, SensorReadingFollowsTheFileAndTheClock) {
  FixedClock clock(1000);
  EXPECT_EQ(reading(0x3009), std::nullopt);
  write("/var/ipmipdk_readings", "# warm\n\n 0x3009 20.6\n7000\t-3.5 1001\r\n3009 31 2000\n3009 40 1999");
  EXPECT_EQ(reading(0x3009), 20.6);
  EXPECT_EQ(reading(0x7000), std::nullopt) << "not valid yet";
  EXPECT_EQ(reading(0x1), std::nullopt);
  clock.set(2000);
  EXPECT_EQ(reading(0x7000), -3.5);
  EXPECT_EQ(reading(0x3009), 40) << "the last line counts, not the latest moment";
}

int queue = -1;
void *semaphore = nullptr;

TEST_F(StandIns, WaitsGoOnThroughInterruptions) {
  using Message = std::pair<long, std::array<char, 8>>;
  queue = msgget(IPC_PRIVATE, 0600);
  semaphore = CreateSemaphore("standins_test");
  ASSERT_NE(semaphore, nullptr);
  EXPECT_EQ(WaitSemaphore(semaphore), 0);
  {
    const SignalStorm storm([] { ReleaseSemaphore(semaphore, "standins_test"); });
    EXPECT_EQ(WaitSemaphore(semaphore), 0);
    EXPECT_GE(SignalStorm::signals(), 5);
  }
  Message received = {};
  const SignalStorm storm([] {
    const Message sent = {0x101, {"seven.."}};
    sigwrap_msgsnd(queue, &sent, 7, IPC_NOWAIT);
  });
  EXPECT_EQ(sigwrap_msgrcv(queue, &received, 8, 0, 0), 7);
  EXPECT_EQ(received, Message(0x101, {"seven.."}));
  EXPECT_EQ(msgctl(queue, IPC_RMID, nullptr), 0);
}

}  // namespace
}  // namespace vexora::test
