// SPDX-License-Identifier: Apache-2.0
//
// Helpers of the messaging tests: a call with all its output and effects, and the far end of a pipe.
#pragma once

#include "support/test.h"

namespace vexora::test {

using Messages = std::vector<FirmwareMessage>;

// A call's result, standard output (the debug log's included) and the firmware's debug output.
struct Outcome {
  int result = 0;
  std::string output = {};
  Messages reports = {};

  bool operator==(const Outcome &) const = default;
};

inline void PrintTo(const Outcome &outcome, std::ostream *out) {
  testing::internal::UniversalPrint(std::tie(outcome.result, outcome.output, outcome.reports), out);
}

// A critical message in the debug log at the tests' time.
inline std::string logged(const std::string &text) { return "[Critical]:<2024-05-01T13:45:07>" + text + "\n\n"; }

// `size` bytes that differ from their neighbours near and far.
inline std::string pattern(std::size_t size) {
  std::string bytes;
  for (std::size_t i = 0; i < size; ++i) {
    bytes.push_back(static_cast<char>((i * 17 + 17) % 251));
  }
  return bytes;
}

inline std::string zeros(std::size_t count) { return std::string(count, '\0'); }

// A daemon's end of its pipe.
class PipeOwner {
 public:
  explicit PipeOwner(const char *path) : made_(mkfifo(path, 0600)), fd_(open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC)) {
    EXPECT_GE(fd_, 0) << path;
  }
  ~PipeOwner() { close(fd_); }
  PipeOwner(PipeOwner &&) = delete;

  [[nodiscard]] int fd() const { return fd_; }

  // Reads all bytes in the pipe.
  [[nodiscard]] std::string arrived() const {
    std::string bytes(1 << 16, '~');
    const ssize_t got = ::read(fd_, bytes.data(), bytes.size());
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return bytes;
  }

  // Fills the pipe to the last byte.
  void fill() const {
    const std::string page(4096, '#');
    while (::write(fd_, page.data(), page.size()) > 0) {
    }
    EXPECT_EQ(errno, EAGAIN);
  }

 private:
  const int made_, fd_;
};

// Makes a path that exists and that nobody can open, root included.
inline void placeUnopenable(const char *path) { EXPECT_EQ(mknod(path, S_IFSOCK | 0600, 0), 0); }

// Starts with the debug log on for this library's own module; no descriptor, child process or report may remain.
class ChannelTest : public RootTest {
 protected:
  ChannelTest() {
    switchLogOn("ZELDIAG");
    descriptors_ = openDescriptors();
  }

  ~ChannelTest() override {
    EXPECT_EQ(openDescriptors(), descriptors_);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
    EXPECT_EQ(log_.take(), Messages{});
  }

  template <typename... Parameters>
  Outcome outcome(int (*call)(Parameters...), std::type_identity_t<Parameters>... arguments) {
    return outcome([&] { return call(arguments...); });
  }

  Outcome outcome(const std::function<int()> &call) {
    Outcome seen;
    seen.output = capturedOutput([&] { seen.result = call(); });
    seen.reports = log_.take();
    return seen;
  }

 private:
  FirmwareLog log_;
  FixedClock clock_{1714571107};
  int descriptors_ = -1;
};

}  // namespace vexora::test
