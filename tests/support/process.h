// SPDX-License-Identifier: Apache-2.0
//
// Processes and their standard output. The library keeps state for the life of a process (the debug settings, the
// history ring), so a test of a fresh start runs its story in a process of its own.
#pragma once

#include <csignal>
#include <functional>
#include <string>

namespace vexora::test {

// Runs `body` in a forked process and waits for it. Returns its exit status, 128 + N when signal N ended it. Failed
// expectations inside print as usual and make the status 1.
int runInChild(const std::function<void()> &body);

// Runs `body` in a forked process and fails the current test when anything failed or crashed there.
void inFreshProcess(const std::function<void()> &body);

// Switches the debug log on for a module, to standard output, with the next settings that the library reads.
void switchLogOn(const std::string &module);

// What `body` writes to standard output (descriptor 1). Not to be nested, in a forked process neither.
std::string capturedOutput(const std::function<void()> &body);

// Interrupts the process every millisecond while it lives; the kernel takes no call up again by itself. `onFifth` runs
// in the fifth signal's handler.
class SignalStorm {
 public:
  explicit SignalStorm(void (*onFifth)() = nullptr);
  ~SignalStorm();
  SignalStorm(SignalStorm &&) = delete;

  [[nodiscard]] static int signals();

 private:
  struct sigaction before_ = {};
};

}  // namespace vexora::test
