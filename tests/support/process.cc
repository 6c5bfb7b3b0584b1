// SPDX-License-Identifier: Apache-2.0
#include "support/process.h"

#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

#include "support/platform.h"

namespace vexora::test {
namespace {

volatile std::sig_atomic_t signalCount = 0;
void (*atFifthSignal)() = nullptr;

void signalEvery(suseconds_t microseconds) {
  const itimerval timer = {{0, microseconds}, {0, microseconds}};
  setitimer(ITIMER_REAL, &timer, nullptr);
}

}  // namespace

int runInChild(const std::function<void()> &body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    // An exception that left the child's body would run the rest of the tests in the child as well.
    [&]() noexcept { body(); }();
    std::exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

void inFreshProcess(const std::function<void()> &body) { EXPECT_EQ(runInChild(body), 0) << "in the child process"; }

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
  signalEvery(1000);
}

SignalStorm::~SignalStorm() {
  signalEvery(0);
  sigaction(SIGALRM, &before_, nullptr);
}

int SignalStorm::signals() { return signalCount; }

}  // namespace vexora::test
