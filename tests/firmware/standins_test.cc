// SPDX-License-Identifier: Apache-2.0
// The host's stand-ins for the firmware's closed libraries, driven through the functions that the library calls.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/msg.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

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

namespace vexora::test {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

class Platform : public RootTest {};
class PlatformFiles : public RootTest {};

Bytes bytes(std::string_view text) { return {text.begin(), text.end()}; }

TEST(PlatformChecksum, IsTheCrcOfEthernetAndZip) {
  const Bytes digits = bytes("123456789");
  EXPECT_EQ(CalculateCRC32(digits.data(), 9), 0xCBF43926U);
  EXPECT_EQ(CalculateCRC32(digits.data(), 0), 0U);
}

TEST(PlatformBase64, DecodesWholeTextsAndRefusesTheRest) {
  struct Row {
    std::string text, plain;
  };
  const Row rows[] = {
      {"Zg==", "f"},    {"Zm8=", "fo"},   {"Zm9v", "foo"}, {"Zm9vYmE=", "fooba"}, {"+/8A", {"\xfb\xff\0", 3}},
      {"", ""},         {"Zg=", ""},      {"Zg", ""},      {"Z===", ""},          {"====", ""},
      {"Zg==Zm8=", ""}, {"Zm 9", ""},     {"Zm9v\n", ""},  {"Zm9-", ""},          {"Z=8=", ""},
      {"    Zm9v", ""}, {"Zm9v----", ""},
  };
  for (const Row &row : rows) {
    std::string out(16, '~');
    const size_t decoded = cyoBase64Decode(out.data(), row.text.data(), row.text.size());
    EXPECT_EQ(decoded, row.plain.size()) << row.text;
    EXPECT_EQ(out, row.plain + std::string(16 - row.plain.size(), '~')) << row.text;
  }
}

TEST_F(Platform, AesMatchesThePublishedVectorAndPadsEveryLength) {
  const Bytes key = {0x60, 0x3d, 0xeb, 0x10, 0x15, 0xca, 0x71, 0xbe, 0x2b, 0x73, 0xae, 0xf0, 0x85, 0x7d, 0x77, 0x81,
                     0x1f, 0x35, 0x2c, 0x07, 0x3b, 0x61, 0x08, 0xd7, 0x2d, 0x98, 0x10, 0xa3, 0x09, 0x14, 0xdf, 0xf4};
  const Bytes vector = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
  const Bytes plain = {0x6b, 0xc1, 0xbe, 0xe2, 0x2e, 0x40, 0x9f, 0x96, 0xe9, 0x3d, 0x7e, 0x11, 0x73, 0x93, 0x17, 0x2a};
  const Bytes block = {0xf5, 0x8c, 0x4c, 0x04, 0xd6, 0xe5, 0xf1, 0xba, 0x77, 0x9e, 0xab, 0xfb, 0x5f, 0x7b, 0xfb, 0xd6};
  for (const int length : {0, 1, 15, 16}) {
    Bytes cipher(48, 0xEE);
    int cipherLength = -1;
    ASSERT_EQ(AES_EncryptData(plain.data(), length, cipher.data(), &cipherLength, key.data(), vector.data()), 0);
    EXPECT_EQ(cipherLength, length / 16 * 16 + 16);
    EXPECT_EQ(cipher[static_cast<size_t>(cipherLength)], 0xEE) << "wrote past its end";
    if (length == 16) {
      EXPECT_EQ(Bytes(cipher.begin(), cipher.begin() + 16), block);
    }
    Bytes back(33, 0xEE);
    int backLength = -1;
    ASSERT_EQ(AES_DecryptData(cipher.data(), cipherLength, back.data(), &backLength, key.data(), vector.data()), 0);
    EXPECT_EQ(backLength, length);
    Bytes expected(plain.begin(), plain.begin() + length);
    expected.resize(33, 0xEE);
    EXPECT_EQ(back, expected);
  }
}

TEST_F(Platform, AesRefusesDamagedTextAndLeavesTheOutputsAlone) {
  const Bytes plain(20, 'x');
  std::array<uint8_t, FIRMWARE_AES_KEY_SIZE> key{};
  std::array<uint8_t, FIRMWARE_AES_VECTOR_SIZE> vector{};
  ASSERT_EQ(AES_GetEncryptKey(key.data(), FIRMWARE_AES_KEY_SIZE), 0);
  ASSERT_EQ(AES_GetInitialVector(vector.data(), FIRMWARE_AES_VECTOR_SIZE), 0);
  Bytes cipher(32);
  int length = 0;
  ASSERT_EQ(AES_EncryptData(plain.data(), 20, cipher.data(), &length, key.data(), vector.data()), 0);
  cipher[15] ^= 0x80;  // turns the last padding byte, 12, into 140
  Bytes back(32, 0xEE);
  length = 77;
  for (const int wrongLength : {32, 31, 0, -16}) {
    EXPECT_NE(AES_DecryptData(cipher.data(), wrongLength, back.data(), &length, key.data(), vector.data()), 0);
  }
  EXPECT_EQ(back, Bytes(32, 0xEE));
  EXPECT_EQ(length, 77);
}

TEST_F(Platform, KeysComeFromTheirFilesOrFail) {
  Bytes key(FIRMWARE_AES_KEY_SIZE, 0xEE);
  write("/conf/platform_aes_key", std::string(32, 'k'));
  EXPECT_EQ(AES_GetEncryptKey(key.data(), 32), 0);
  EXPECT_EQ(key, Bytes(32, 'k'));
  for (const size_t wrongSize : {0U, 31U, 33U}) {
    write("/conf/platform_aes_key", std::string(wrongSize, 'k'));
    EXPECT_NE(AES_GetEncryptKey(key.data(), 32), 0) << wrongSize;
    EXPECT_EQ(key, Bytes(32, 0)) << wrongSize;
  }
  Bytes passwordKey(FIRMWARE_PASSWORD_KEY_SIZE, 0xEE);
  EXPECT_EQ(getEncryptKey(passwordKey.data()), 0);
  EXPECT_EQ(std::count(passwordKey.begin(), passwordKey.end(), 0), 0) << "the development key is 56 bytes long";
  write("/conf/platform_password_key", "short");
  EXPECT_EQ(getEncryptKey(passwordKey.data()), 0);
  Bytes expected = bytes("short");
  expected.resize(FIRMWARE_PASSWORD_KEY_SIZE);
  EXPECT_EQ(passwordKey, expected);
  makeFolder("/conf/platform_aes_vector");
  EXPECT_NE(AES_GetInitialVector(key.data(), 16), 0) << "a folder is not a missing file";
}

TEST_F(Platform, PasswordCipherMatchesThePublishedVectorAndKeepsLengths) {
  const Bytes zeros(8);
  Bytes cipher(255, 0xEE);
  struct Row {
    Bytes key, block;
  };
  // A first block of zeros enciphers to the plain cipher's block of zeros.
  const Row rows[] = {
      {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0}, {0xF2, 0x1E, 0x9A, 0x77, 0xB7, 0x1C, 0x49, 0xBC, 0xEE}},
      {{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0}, {0x24, 0x59, 0x46, 0x88, 0x57, 0x54, 0x36, 0x9A, 0xEE}},
  };
  for (const Row &row : rows) {
    ASSERT_EQ(EncryptPassword(zeros.data(), 8, cipher.data(), 8, row.key.data()), 0);
    EXPECT_EQ(Bytes(cipher.begin(), cipher.begin() + 9), row.block);
  }

  Bytes key(FIRMWARE_PASSWORD_KEY_SIZE);
  ASSERT_EQ(getEncryptKey(key.data()), 0);
  for (const uint8_t length : std::array<uint8_t, 6>{0, 1, 8, 13, 64, 255}) {
    const Bytes password(255, 'p');
    Bytes text = password;
    ASSERT_EQ(EncryptPassword(text.data(), length, text.data(), length, key.data()), 0);
    EXPECT_EQ(text == password, length == 0);
    ASSERT_EQ(DecryptPassword(text.data(), length, text.data(), length, key.data()), 0);
    EXPECT_EQ(text, password);
  }
  key.back() ^= 1;
  Bytes other(8);
  ASSERT_EQ(EncryptPassword(zeros.data(), 8, other.data(), 8, key.data()), 0);
  key.back() ^= 1;
  ASSERT_EQ(EncryptPassword(zeros.data(), 8, cipher.data(), 8, key.data()), 0);
  EXPECT_NE(other, Bytes(cipher.begin(), cipher.begin() + 8)) << "the 56th key byte counts";
  EXPECT_NE(EncryptPassword(zeros.data(), 8, other.data(), 7, key.data()), 0);
  EXPECT_NE(DecryptPassword(zeros.data(), 8, other.data(), 8, bytes({"\0", 1}).data()), 0);
}

TEST_F(Platform, FeaturesAreOnWhenListed) {
  EXPECT_EQ(IsFeatureEnabled("CONFIG_A"), 0);
  write("/conf/platform_features", "# CONFIG_B\nCONFIG_A\n\nCONFIG_CD");
  EXPECT_NE(IsFeatureEnabled("CONFIG_A"), 0);
  EXPECT_NE(IsFeatureEnabled("CONFIG_CD"), 0);
  for (const char *off : {"CONFIG_B", "CONFIG_C", "# CONFIG_B", ""}) {
    EXPECT_EQ(IsFeatureEnabled(off), 0) << off;
  }
}

TEST_F(Platform, GpioLinesKeepTheirLevels) {
  EXPECT_EQ(hostGpioRead(7), -1);
  EXPECT_EQ(hostGpioWrite(7, 1), 0);
  EXPECT_EQ(hostGpioWrite(17, 0), 0);
  EXPECT_EQ(hostGpioWrite(7, 2), -1);
  EXPECT_EQ(hostGpioRead(7), 1);
  EXPECT_EQ(hostGpioRead(17), 0);
  write("/var/gpio/line17", "high\n");
  EXPECT_EQ(hostGpioRead(17), -1);
}

TEST_F(Platform, SensorReadingFollowsTheFileAndTheClock) {
  const auto reading = [](unsigned sensor) {
    double value = -99;
    return PDK_GetSensorRealValueFromSharedMem(sensor, &value, 1) == 0 ? value : -1000 - value;
  };
  constexpr double kNone = -1000 + 99;
  FixedClock clock(1000);
  EXPECT_EQ(reading(0x3009), kNone);
  write("/var/ipmipdk_readings", "# warm\n\n 0x3009 20.6\n7000\t-3.5 1001\r\n3009 31 2000\n3009 40 1999");
  EXPECT_EQ(reading(0x3009), 20.6);
  EXPECT_EQ(reading(0x7000), kNone) << "not valid yet";
  EXPECT_EQ(reading(0x1), kNone);
  clock.set(2000);
  EXPECT_EQ(reading(0x7000), -3.5);
  EXPECT_EQ(reading(0x3009), 40) << "the last line counts, not the latest moment";
  for (const char *malformed : {"3009", "3009 warm", "3009 1 2 3", "30x9 1", "3009 1 2x", "3009 nan", "-3 1", "0x 1"}) {
    write("/var/ipmipdk_readings", std::string("3009 20\n") + malformed + "\n");
    EXPECT_EQ(reading(0x3009), kNone) << malformed;
  }
}

TEST_F(PlatformFiles, CopyFileReplacesAndGoesIntoFolders) {
  write("/conf/a", "short");
  chmod("/conf/a", 0640);
  write("/var/b", "something longer");
  EXPECT_EQ(copyFile("/conf/a", "/var/b"), 0);
  EXPECT_EQ(read("/var/b"), "short");
  EXPECT_EQ(copyFile("/conf/a", "/mnt"), 0);
  EXPECT_EQ(read("/mnt/a"), "short");
  EXPECT_EQ(fs::status("/mnt/a").permissions(), fs::perms{0640});
  EXPECT_EQ(copyFile("/conf/a", "/conf/a"), -1);
  EXPECT_EQ(read("/conf/a"), "short");
  EXPECT_EQ(copyFile("/conf/none", "/var/b"), -1);
  EXPECT_EQ(copyFile("/conf", "/var/c"), -1);
  EXPECT_EQ(copyFile("/conf/a", "/var/none/b"), -1);
  EXPECT_EQ(read("/var/b"), "short");
}

TEST_F(PlatformFiles, MoveFileReplacesWithinAndBetweenFileSystems) {
  write("/dev/shm/far", "from afar");
  write("/conf/near", "from near");
  write("/conf/target", "old");
  EXPECT_EQ(moveFile("/conf/near", "/conf/target"), 0);
  EXPECT_EQ(read("/conf/target"), "from near");
  struct stat far = {};
  struct stat target = {};
  ASSERT_EQ(stat("/dev/shm/far", &far) + stat("/conf/target", &target), 0);
  ASSERT_NE(far.st_dev, target.st_dev);
  EXPECT_EQ(moveFile("/dev/shm/far", "/conf/target"), 0);
  EXPECT_EQ(read("/conf/target"), "from afar");
  EXPECT_FALSE(exists("/conf/near") || exists("/dev/shm/far"));
  EXPECT_EQ(moveFile("/conf/near", "/conf/target"), -1);
  EXPECT_EQ(read("/conf/target"), "from afar");
}

TEST_F(PlatformFiles, CopyDirMergesTreesAndNeverFollowsLinks) {
  write("/conf/from/same", "new");
  write("/conf/from/sub/deep/file", "deep");
  fs::create_symlink("/var/outside", "/conf/from/link");
  ASSERT_EQ(mkfifo("/conf/from/pipe", 0600), 0);
  write("/var/outside/victim", "safe");
  write("/mnt/to/same", "old");
  write("/mnt/to/own", "own");
  fs::create_symlink("/var/outside", "/mnt/to/sub");

  EXPECT_EQ(copyDir("/conf/from", "/mnt/to", 0), 0);
  EXPECT_EQ(read("/mnt/to/same"), "old");
  EXPECT_TRUE(fs::is_symlink("/mnt/to/sub"));
  for (int again = 0; again < 2; ++again) {
    EXPECT_EQ(copyDir("/conf/from", "/mnt/to", 1), 0);
    EXPECT_EQ(list("/mnt/to"), (std::vector<std::string>{"link", "own", "same", "sub"}));
    EXPECT_EQ(read("/mnt/to/same"), "new");
    EXPECT_EQ(read("/mnt/to/sub/deep/file"), "deep");
    EXPECT_EQ(fs::read_symlink("/mnt/to/link"), "/var/outside");
  }
  EXPECT_EQ(list("/var/outside"), std::vector<std::string>{"victim"});
  EXPECT_EQ(copyDir("/conf/from", "/conf/from/sub/copy", 1), -1);
  EXPECT_FALSE(exists("/conf/from/sub/copy")) << "began a copy that would hold itself";
  EXPECT_EQ(copyDir("/conf/from/same", "/mnt/new", 1), -1);
  EXPECT_EQ(copyDir("/conf/from", "/mnt/to/own", 1), -1);
}

TEST_F(PlatformFiles, RmDirRemovesTheTreeButNotWhatItLinksTo) {
  write("/conf/tree/sub/file", "x");
  write("/var/outside/victim", "safe");
  fs::create_symlink("/var/outside", "/conf/tree/link");
  EXPECT_EQ(RmDir("/conf/tree"), 0);
  EXPECT_FALSE(exists("/conf/tree"));
  EXPECT_TRUE(exists("/var/outside/victim"));
  EXPECT_EQ(RmDir("/conf/tree"), 0);
  EXPECT_EQ(RmDir("/conf/../"), -1);
  EXPECT_EQ(RmDir(""), -1);
}

TEST_F(PlatformFiles, SafeSystemGivesTheWaitStatus) {
  EXPECT_EQ(safe_system("echo one > /var/out && test -s /var/out"), 0);
  EXPECT_EQ(read("/var/out"), "one\n");
  EXPECT_EQ(WEXITSTATUS(safe_system("exit 7")), 7);
  EXPECT_EQ(WTERMSIG(safe_system("kill -9 $$")), SIGKILL);
  EXPECT_EQ(WEXITSTATUS(safe_system("-no-such-program 2>/dev/null")), 127);
  EXPECT_EQ(safe_system(nullptr), -1);
}

TEST(PlatformDebug, WritesOneLineAndKeepsErrno) {
  // This program's own debug output stands in the way of the plain call.
  using Output = void (*)(int, const char *, ...);
  const auto debug = reinterpret_cast<Output>(dlsym(RTLD_NEXT, "XDBG_LINUXAPP_DbgOut"));
  const auto maintenance = reinterpret_cast<Output>(dlsym(RTLD_NEXT, "XDBG_LINUXAPP_MaintenceOut"));
  ASSERT_TRUE(debug != nullptr && maintenance != nullptr);
  testing::internal::CaptureStderr();
  errno = ENOSPC;
  debug(130, "[%s:%d]%m", "module", 7);
  maintenance(178, "ends by itself\n");
  debug(132, "%s", std::string(5000, 'x').c_str());
  const std::string output = testing::internal::GetCapturedStderr();
  EXPECT_EQ(output, "[dbg 130] [module:7]No space left on device\n[maint 178] ends by itself\n[dbg 132] " +
                        std::string(2000, 'x') + "\n");

  const int kept = dup(STDERR_FILENO);
  close(STDERR_FILENO);
  errno = ENOSPC;
  debug(130, "nowhere to go");
  const int errnoAfter = errno;
  dup2(kept, STDERR_FILENO);
  close(kept);
  EXPECT_EQ(errnoAfter, ENOSPC);
}

// Interrupts the program every millisecond while it lives; `onFifth` runs in the handler at the fifth interruption.
class SignalStorm {
 public:
  explicit SignalStorm(void (*onFifth)() = nullptr) {
    ticks = 0;
    action = onFifth;
    struct sigaction handling = {};
    handling.sa_handler = tick;
    sigaction(SIGALRM, &handling, &before_);
    arm(1000);
  }
  ~SignalStorm() {
    arm(0);
    sigaction(SIGALRM, &before_, nullptr);
  }
  SignalStorm(const SignalStorm &) = delete;
  SignalStorm &operator=(const SignalStorm &) = delete;

  static int interruptions() { return ticks; }

 private:
  static void arm(suseconds_t period) {
    const itimerval timer = {{0, period}, {0, period}};
    setitimer(ITIMER_REAL, &timer, nullptr);
  }
  static void tick(int) {
    ticks = ticks + 1;
    if (ticks == 5 && action != nullptr) {
      action();
    }
  }

  static inline volatile sig_atomic_t ticks = 0;
  static inline void (*action)() = nullptr;
  struct sigaction before_ = {};
};

TEST(PlatformWaits, SelectWaitsItsTimeOutThroughInterruptions) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  const auto waitForReading = [&](suseconds_t microseconds) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(ends[0], &readable);
    timeval timeout = {0, microseconds};
    return sigwrap_select(ends[0] + 1, &readable, nullptr, nullptr, &timeout);
  };
  const auto start = std::chrono::steady_clock::now();
  {
    const SignalStorm storm;
    EXPECT_EQ(waitForReading(50'000), 0);
    EXPECT_GE(SignalStorm::interruptions(), 1);
  }
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
  ASSERT_EQ(::write(ends[1], "x", 1), 1);
  EXPECT_EQ(waitForReading(0), 1);
  close(ends[0]);
  close(ends[1]);
}

struct QueueMessage {
  long type;
  char text[8];
};
int queue = -1;

TEST(PlatformWaits, QueueReceivesThroughInterruptions) {
  queue = msgget(IPC_PRIVATE, 0600);
  ASSERT_NE(queue, -1);
  QueueMessage received = {};
  {
    const SignalStorm storm([] {
      const QueueMessage sent = {0x101, "seven.."};
      sigwrap_msgsnd(queue, &sent, 7, IPC_NOWAIT);
    });
    EXPECT_EQ(sigwrap_msgrcv(queue, &received, sizeof received.text, 0, 0), 7);
  }
  EXPECT_EQ(received.type, 0x101);
  EXPECT_STREQ(received.text, "seven..");
  received.type = -1;
  EXPECT_EQ(sigwrap_msgsnd(queue, &received, 1, IPC_NOWAIT), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(msgctl(queue, IPC_RMID, nullptr), 0);
}

void *semaphore = nullptr;

TEST(PlatformWaits, SemaphoreWaitsThroughInterruptions) {
  semaphore = CreateSemaphore("standins_test_wait");
  ASSERT_NE(semaphore, nullptr);
  EXPECT_EQ(CreateSemaphore("standins_test_wait"), semaphore);
  EXPECT_EQ(WaitSemaphore(semaphore), 0);
  const SignalStorm storm([] { ReleaseSemaphore(semaphore, "standins_test_wait"); });
  EXPECT_EQ(WaitSemaphore(semaphore), 0);
  EXPECT_GE(SignalStorm::interruptions(), 5);
  EXPECT_EQ(CreateSemaphore("with/slash"), nullptr);
}

TEST(PlatformWaits, SemaphoreExcludesOtherProcesses) {
  void *const page = mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(page, MAP_FAILED);
  auto *const counter = static_cast<volatile int *>(page);
  const auto count = [counter] {
    for (int i = 0; i < 2000; ++i) {
      void *const turn = CreateSemaphore("standins_test_turn");
      WaitSemaphore(turn);
      const int before = *counter;
      sched_yield();  // invites the other process in
      *counter = before + 1;
      ReleaseSemaphore(turn, "standins_test_turn");
    }
  };
  const pid_t child = fork();
  if (child == 0) {
    count();
    _exit(0);
  }
  count();
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_EQ(*counter, 4000);
  munmap(page, sizeof(int));
}

}  // namespace
}  // namespace vexora::test
