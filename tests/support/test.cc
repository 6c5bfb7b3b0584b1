// SPDX-License-Identifier: Apache-2.0
#include "support/test.h"

#include <ftw.h>

#include <mutex>
#include <stdexcept>

namespace vexora::test {
namespace fs = std::filesystem;

namespace {

// The script that makes the root leaves this file in it.
constexpr const char *kRootMark = "/.private-root";

constexpr const char *kWritable[] = {
    "/conf", "/etc/defconfig", "/extlog/syslog", "/var", "/mnt", "/usr/local/lib", "/usr/lib/arm-linux-gnueabi"};

// A directory with a mount in it stays: its removal fails.
int removeBelow(const char *path, const struct stat * /*status*/, int /*kind*/, FTW *at) {
  if (at->level > 0) {
    static_cast<void>(std::remove(path));
  }
  return 0;
}

std::mutex messagesLock;
std::atomic<bool> collecting = false;
std::vector<FirmwareMessage> messages;

void deliver(int level, bool maintenance, const char *format, std::va_list arguments) {
  const InHarness own;
  char text[4096];
  std::vsnprintf(text, sizeof text, format, arguments);
  const std::lock_guard hold(messagesLock);
  if (collecting) {
    messages.push_back({level, withoutLine(text), maintenance});
  } else {
    std::fprintf(stderr, "%s %d: %s\n", maintenance ? "maintenance" : "debug", level, text);
  }
}

volatile std::sig_atomic_t signalCount = 0;
void (*atFifthSignal)() = nullptr;

}  // namespace

void write(const std::string &path, std::string_view contents) {
  fs::create_directories(fs::absolute(path).parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
  file.close();
  if (!file) {
    throw std::runtime_error("cannot write " + path);
  }
}

std::string read(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw std::runtime_error("cannot read " + path);
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> list(const std::string &path) {
  std::vector<std::string> names;
  std::error_code missing;
  for (const auto &entry : fs::directory_iterator(path, missing)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

void clearRoot() {
  if (!exists(kRootMark)) {
    throw std::runtime_error("not in a private root; start test programs through tests/support/private_root");
  }
  for (const char *directory : kWritable) {
    // Only on its own file system: a build directory may be mounted in one of these and must survive.
    nftw(directory, removeBelow, 16, FTW_DEPTH | FTW_MOUNT | FTW_PHYS);
  }
  fs::create_directories("/var/tmp");
}

int openDescriptors() { return static_cast<int>(list("/proc/self/fd").size()) - 1; }  // without the listing's own

std::string withoutLine(std::string text) {
  std::smatch first;
  if (!std::regex_search(text, first, std::regex("[:([ ]([0-9]+)"))) {
    return text;
  }
  return std::regex_replace(text, std::regex("([:([ ])" + first.str(1) + "(?![0-9])"), "$1LINE");
}

FirmwareLog::FirmwareLog() {
  take();
  collecting = true;
}

FirmwareLog::~FirmwareLog() { collecting = false; }

std::vector<FirmwareMessage> FirmwareLog::take() {
  const std::lock_guard hold(messagesLock);
  return std::exchange(messages, {});
}

std::time_t FixedClock::now() {
  std::timespec real = {};
  clock_gettime(CLOCK_REALTIME, &real);
  const std::time_t moment = moment_;
  return moment == kNone ? real.tv_sec : moment;
}

int runInChild(const std::function<void()> &body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    // An exception that left the body would run the rest of the tests in the child as well.
    [&]() noexcept { body(); }();
    std::exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

void inFreshProcess(const std::function<void()> &body) { EXPECT_EQ(runInChild(body), 0) << "in the child process"; }

void switchLogOn(const std::string &module) {
  for (const std::string &marker : {std::string("LEVEL_INFO"), std::string("PATH_SERIAL"), "ENABLE_" + module}) {
    touch("/conf/vexora_debug/" + marker);
  }
  touch("/var/vexora_debug_reload");
}

std::string capturedOutput(const std::function<void()> &body) {
  {
    const InHarness own;
    testing::internal::CaptureStdout();
  }
  body();
  const InHarness own;
  return testing::internal::GetCapturedStdout();
}

SignalStorm::SignalStorm(void (*onFifth)()) {
  signalCount = 0;
  atFifthSignal = onFifth;
  struct sigaction handling = {};
  handling.sa_handler = [](int) {
    signalCount = signalCount + 1;
    if (signalCount == 5 && atFifthSignal != nullptr) {
      atFifthSignal();
    }
  };
  sigaction(SIGALRM, &handling, &before_);
  ualarm(1000, 1000);
}

SignalStorm::~SignalStorm() {
  ualarm(0, 0);
  sigaction(SIGALRM, &before_, nullptr);
}

int SignalStorm::signals() { return signalCount; }

}  // namespace vexora::test

extern "C" {

void XDBG_LINUXAPP_DbgOut(int level, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  vexora::test::deliver(level, false, format, arguments);
  va_end(arguments);
}

void XDBG_LINUXAPP_MaintenceOut(int level, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  vexora::test::deliver(level, true, format, arguments);
  va_end(arguments);
}

std::time_t time(std::time_t *out) {
  const std::time_t now = vexora::test::FixedClock::now();
  if (out != nullptr) {
    *out = now;
  }
  return now;
}
}
