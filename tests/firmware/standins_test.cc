// SPDX-License-Identifier: Apache-2.0
// The host's stand-ins for the firmware's closed libraries, driven through the functions that the library calls.

#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <optional>

#include "firmware/aes.h"
#include "firmware/blowfish.h"
#include "firmware/checksum.h"
#include "firmware/encoding.h"
#include "firmware/featuredefine.h"
#include "firmware/gpio.h"
#include "firmware/ipmipdk.h"
#include "firmware/unix.h"
#include "support/files.h"
#include "support/platform.h"
#include "support/process.h"

namespace vexora::test {
namespace {

using Bytes = std::vector<uint8_t>;

class Platform : public RootTest {};

TEST_F(Platform, ChecksumAndBase64AreTheUsualOnes) {
  EXPECT_EQ(CalculateCRC32(reinterpret_cast<const unsigned char *>("123456789"), 9), 0xCBF43926U);
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},         {"Zg==", "f"}, {"Zm9vYmE=", "fooba"}, {"Zg=", ""},      {"====", ""},
      {"Zg==Zm8=", ""}, {"Z=8=", ""},  {"Zm9v\n", ""},        {"Zm9v----", ""}, {"+/8A", {"\xfb\xff\0", 3}}};
  for (const auto &[text, plain] : rows) {
    std::string out(16, '~');
    EXPECT_EQ(cyoBase64Decode(out.data(), text.data(), text.size()), plain.size()) << text;
    EXPECT_EQ(out, plain + std::string(16 - plain.size(), '~')) << text;
  }
}

// Other lengths, and damaged texts, go through the settings' secrets.
TEST_F(Platform, CiphersMatchThePublishedVectors) {
  const Bytes key = {0x60, 0x3d, 0xeb, 0x10, 0x15, 0xca, 0x71, 0xbe, 0x2b, 0x73, 0xae, 0xf0, 0x85, 0x7d, 0x77, 0x81,
                     0x1f, 0x35, 0x2c, 0x07, 0x3b, 0x61, 0x08, 0xd7, 0x2d, 0x98, 0x10, 0xa3, 0x09, 0x14, 0xdf, 0xf4};
  const Bytes vector = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
  const Bytes plain = {0x6b, 0xc1, 0xbe, 0xe2, 0x2e, 0x40, 0x9f, 0x96, 0xe9, 0x3d, 0x7e, 0x11, 0x73, 0x93, 0x17, 0x2a};
  const Bytes block = {0xf5, 0x8c, 0x4c, 0x04, 0xd6, 0xe5, 0xf1, 0xba, 0x77, 0x9e, 0xab, 0xfb, 0x5f, 0x7b, 0xfb, 0xd6};
  Bytes cipher(33, 0xEE);
  int length = -1;
  ASSERT_EQ(AES_EncryptData(plain.data(), 16, cipher.data(), &length, key.data(), vector.data()), 0);
  EXPECT_EQ(length, 32) << "a block of padding";
  EXPECT_EQ(cipher[32], 0xEE) << "wrote past its end";
  EXPECT_EQ(Bytes(cipher.begin(), cipher.begin() + 16), block);
  // A first block of zeros enciphers to the plain cipher's block of zeros.
  const Bytes zeros(8), password = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0};
  const Bytes expected = {0x24, 0x59, 0x46, 0x88, 0x57, 0x54, 0x36, 0x9A, 0xEE};
  cipher = Bytes(9, 0xEE);
  ASSERT_EQ(EncryptPassword(zeros.data(), 8, cipher.data(), 8, password.data()), 0);
  EXPECT_EQ(cipher, expected);
  EXPECT_NE(EncryptPassword(zeros.data(), 8, cipher.data(), 7, password.data()), 0);
}

TEST_F(Platform, KeysComeFromTheirFilesOrFail) {
  Bytes key(FIRMWARE_AES_KEY_SIZE, 0xEE);
  write("/conf/platform_aes_key", std::string(32, 'k'));
  EXPECT_EQ(AES_GetEncryptKey(key.data(), 32), 0);
  EXPECT_EQ(key, Bytes(32, 'k'));
  write("/conf/platform_aes_key", std::string(33, 'k'));
  EXPECT_NE(AES_GetEncryptKey(key.data(), 32), 0);
  EXPECT_EQ(key, Bytes(32, 0));
  Bytes passwordKey(FIRMWARE_PASSWORD_KEY_SIZE, 0xEE);
  EXPECT_EQ(getEncryptKey(passwordKey.data()), 0);
  EXPECT_EQ(std::ranges::count(passwordKey, 0), 0) << "the development key is 56 bytes long";
  makeFolder("/conf/platform_aes_vector");
  EXPECT_NE(AES_GetInitialVector(key.data(), 16), 0) << "a folder is not a missing file";
}

TEST_F(Platform, FeaturesAndGpioLinesAreTheirFiles) {
  write("/conf/platform_features", "# CONFIG_B\nCONFIG_A\n\nCONFIG_CD");
  for (const char *name : {"CONFIG_A", "CONFIG_CD", "CONFIG_B", "CONFIG_C", "", "# CONFIG_B"}) {
    EXPECT_EQ(IsFeatureEnabled(name) != 0, name == std::string("CONFIG_A") || name == std::string("CONFIG_CD")) << name;
  }
  EXPECT_EQ(hostGpioRead(7), -1);
  EXPECT_EQ(hostGpioWrite(7, 1), 0);
  EXPECT_EQ(hostGpioWrite(7, 2), -1);
  EXPECT_EQ(hostGpioRead(7), 1);
}

// A sensor's reading; nothing when the platform refuses.
std::optional<double> reading(unsigned sensor) {
  double value = 0;
  return PDK_GetSensorRealValueFromSharedMem(sensor, &value, 1) == 0 ? std::optional(value) : std::nullopt;
}

TEST_F(Platform, SensorReadingFollowsTheFileAndTheClock) {
  FixedClock clock(1000);
  EXPECT_EQ(reading(0x3009), std::nullopt);
  write("/var/ipmipdk_readings", "# warm\n\n 0x3009 20.6\n7000\t-3.5 1001\r\n3009 31 2000\n3009 40 1999");
  EXPECT_EQ(reading(0x3009), 20.6);
  EXPECT_EQ(reading(0x7000), std::nullopt) << "not valid yet";
  EXPECT_EQ(reading(0x1), std::nullopt);
  clock.set(2000);
  EXPECT_EQ(reading(0x7000), -3.5);
  EXPECT_EQ(reading(0x3009), 40) << "the last line counts, not the latest moment";
  for (const char *malformed : {"3009", "3009 warm", "3009 1 2 3", "30x9 1", "3009 1 2x", "3009 nan", "-3 1", "0x 1"}) {
    write("/var/ipmipdk_readings", std::string("3009 20\n") + malformed + "\n");
    EXPECT_EQ(reading(0x3009), std::nullopt) << malformed;
  }
}

int queue = -1;

// A semaphore's wait is interrupted by the pipes' tests.
TEST_F(Platform, WaitForAMessageGoesOnThroughInterruptions) {
  using Message = std::pair<long, std::array<char, 8>>;
  queue = msgget(IPC_PRIVATE, 0600);
  Message received = {};
  const SignalStorm storm([] {
    const Message sent = {0x101, {"seven.."}};
    sigwrap_msgsnd(queue, &sent, 7, IPC_NOWAIT);
  });
  EXPECT_EQ(sigwrap_msgrcv(queue, &received, 8, 0, 0), 7);
  EXPECT_EQ(received, Message(0x101, {"seven.."}));
  EXPECT_GE(SignalStorm::signals(), 5);
  EXPECT_EQ(msgctl(queue, IPC_RMID, nullptr), 0);
}

}  // namespace
}  // namespace vexora::test
