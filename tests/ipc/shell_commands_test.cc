// SPDX-License-Identifier: Apache-2.0
// Shell commands, run by the machine's real shell. No child process or descriptor may remain; see ChannelTest.

#include "ipc/channels.h"
#include "vexora/ipc.h"

namespace vexora::test {
namespace {

constexpr const char *kFile = "/var/output";

int popenError = 0;

std::string numbersTo(int last) {
  std::string lines;
  for (int n = 1; n <= last; ++n) {
    lines += std::to_string(n) + "\n";
  }
  return lines;
}

class ShellCommands : public ChannelTest {
 protected:
  ShellCommands() { popenError = 0; }

  static int toFile(const char *command) { return VexoraCommonCommandToFile(command, kFile); }
};

TEST_F(ShellCommands, CharactersThatChainCommandsAreFound) {
  for (const char *plain : {"ls -l /var", "", "echo $(ls) > `x`\n"}) {
    EXPECT_EQ(outcome(CheckCommandSpecial, plain), Outcome{}) << plain;
  }
  for (const char *chain : {"ls;reboot", "a && b", "ls | wc", "sleep 9&", "|", ";", "echo 'a;b'"}) {
    EXPECT_EQ(outcome(CheckCommandSpecial, chain), Outcome{-1}) << chain;
  }
  EXPECT_EQ(outcome(CheckCommandSpecial, nullptr), Outcome{-1});
}

TEST_F(ShellCommands, ExecutionWaitsForTheEndAndIgnoresHowItCame) {
  for (const char *command : {"exec >&-; for i in 1 2 3; do /bin/true; done; echo done > /var/output", "exit 7",
                              "kill -9 $$", "/no/such/program 2>/dev/null", "echo discarded", ""}) {
    EXPECT_EQ(outcome(dwPopenExcute, command), Outcome{}) << command;
  }
  EXPECT_EQ(read(kFile), "done\n");
}

TEST_F(ShellCommands, OutputAfterTheCloseEndsTheCommand) {
  char buffer[] = "~~";
  const std::function<int(const char *)> runners[] = {
      dwPopenExcute, [&](const char *command) { return VexoraCommandToBuff(command, buffer, 2); },
      [&](const char *command) { return VexoraCommandToBuffEx(command, buffer, 2); }};
  // Prints until the reader has closed the pipe.
  const std::string closed = "(trap '' PIPE; while echo line; do :; done) 2>/dev/null; ";
  for (const auto &run : runners) {
    SCOPED_TRACE(&run - runners);
    EXPECT_EQ(run((closed + "echo hi; touch /var/output").c_str()), 0);
    EXPECT_FALSE(exists(kFile));
    EXPECT_EQ(run((closed + "exec >/dev/null; echo hi; touch /var/output").c_str()), 0);
    EXPECT_TRUE(exists(kFile));
    remove(kFile);
  }
}

TEST_F(ShellCommands, FirstLineFirstBytesOrAllOfTheOutputArrive) {
  const std::string x498(498, 'x');
  const std::pair<const char *, std::string> rows[] = {
      {"true", ""},
      {"printf 'no end'", "no end"},
      {"echo one; echo two; echo three", "one\ntwo\nthree\n"},
      {R"(printf 'a\0b\n\0\377')", std::string("a\0b\n\0\xFF", 6)},
      {"seq 50000", numbersTo(50000)},  // above a pipe's capacity
      {"yes | head -c 400000 | tr -d '\\n'", std::string(200000, 'y')},
      // Lines around the length of a piece, 499 characters, and of several pieces.
      {"printf '%0498d\n%0499d\n%0500d\n%02000d' 0 0 0 0 | tr 0 x",
       x498 + "\n" + x498 + "x\n" + x498 + "xx\n" + std::string(2000, 'x')},
  };
  for (const auto &[command, all] : rows) {
    SCOPED_TRACE(command);
    write(kFile, "what was there before, longer than most");
    EXPECT_EQ(outcome(toFile, command), Outcome{});
    EXPECT_TRUE(read(kFile) == all);
    for (const unsigned size : {1U, 8U, 200000U}) {
      const std::string before(size + 1, '~'), bytes = all.substr(0, size);
      std::string line = all.substr(0, std::min(all.find('\n'), all.size()) + 1).substr(0, size - 1);
      line.append(size == 1 || !all.empty() ? 1 : 0, '\0');
      std::string buffer = before;
      EXPECT_EQ(outcome(VexoraCommandToBuff, command, buffer.data(), static_cast<int>(size)), Outcome{});
      EXPECT_TRUE(buffer == line + before.substr(line.size())) << size;
      buffer = before;
      EXPECT_EQ(outcome(VexoraCommandToBuffEx, command, buffer.data(), size), Outcome{});
      EXPECT_TRUE(buffer == bytes + before.substr(bytes.size())) << size;
    }
  }
}

TEST_F(ShellCommands, AFileThatCannotBeWrittenLeavesNothingRunning) {
  for (const auto &[command, path] : {std::pair{"yes", "/conf"}, {"yes", "/dev/full"}, {"echo x", "/dev/full"}}) {
    EXPECT_EQ(outcome(VexoraCommonCommandToFile, command, path), Outcome{-1}) << command << ' ' << path;
  }
}

TEST_F(ShellCommands, ArgumentsAreRefusedAndNothingRuns) {
  std::string buffer(4, '~');
  for (const int size : {0, -1, INT_MIN}) {
    EXPECT_EQ(outcome(VexoraCommandToBuff, "touch /var/output", buffer.data(), size), Outcome{-1}) << size;
  }
  EXPECT_EQ(outcome(VexoraCommandToBuff, nullptr, buffer.data(), 4), Outcome{-1});
  EXPECT_EQ(outcome(VexoraCommandToBuff, "touch /var/output", nullptr, 4), Outcome{-1});
  EXPECT_EQ(outcome(VexoraCommandToBuffEx, "touch /var/output", buffer.data(), 0), Outcome{-1});
  EXPECT_EQ(outcome(VexoraCommandToBuffEx, nullptr, buffer.data(), 4), Outcome{-1});
  EXPECT_EQ(outcome(VexoraCommandToBuffEx, "touch /var/output", nullptr, 4), Outcome{-1});
  EXPECT_EQ(outcome(VexoraCommonCommandToFile, "touch /var/output", nullptr), Outcome{-1});
  EXPECT_EQ(outcome(toFile, nullptr), Outcome{-1});
  const Outcome refused = outcome(dwPopenExcute, nullptr);
  EXPECT_EQ(refused.result, -1);
  EXPECT_EQ(withoutLine(refused.output), "libvexora_basefunction(LINE)Input parameters error!\n");
  EXPECT_EQ(buffer, "~~~~");
  EXPECT_FALSE(exists(kFile));
}

TEST_F(ShellCommands, ACommandThatCannotBeStartedIsReported) {
  popenError = EAGAIN;
  write(kFile, "kept");
  std::string buffer(4, '~');
  EXPECT_EQ(outcome(VexoraCommandToBuff, "true", buffer.data(), 4), (Outcome{-1, logged("popen failed.")}));
  EXPECT_EQ(outcome(VexoraCommandToBuffEx, "true", buffer.data(), 4), (Outcome{-1, "popen failed.\n"}));
  EXPECT_EQ(outcome(toFile, "true"), Outcome{-1});
  testing::internal::CaptureStderr();
  EXPECT_EQ(outcome(dwPopenExcute, "true"), Outcome{-1});
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "execute command failed: Resource temporarily unavailable");
  EXPECT_EQ(buffer, "~~~~");
  EXPECT_EQ(read(kFile), "kept");
}

TEST_F(ShellCommands, SignalsDoNotCutTheOutput) {
  // A separate process prints each line, so that reads wait for it.
  const char *const slow = "for n in $(seq 60); do /bin/echo $n; done";
  const std::string all = numbersTo(60);
  const SignalStorm storm;
  EXPECT_EQ(outcome(toFile, slow), Outcome{});
  EXPECT_EQ(read(kFile), all);
  std::string buffer(all.size(), '~');
  EXPECT_EQ(VexoraCommandToBuffEx(slow, buffer.data(), static_cast<unsigned>(buffer.size())), 0);
  EXPECT_EQ(buffer, all);
  EXPECT_GT(SignalStorm::signals(), 5);
}

TEST_F(ShellCommands, ChildrenOfOtherThreadsInheritNothing) {
  const auto inherited = [] {
    EXPECT_EQ(std::system("ls /proc/self/fd > /var/descriptors"), 0);
    return read("/var/descriptors");
  };
  const std::string before = inherited();
  ASSERT_EQ(mkfifo("/var/gate", 0600) + mkfifo(kFile, 0600), 0);
  const int output = open(kFile, O_RDWR | O_CLOEXEC);
  std::thread running([] { EXPECT_EQ(toFile("head -c 9000 /dev/zero; cat /var/gate"), 0); });
  char byte = '~';
  EXPECT_EQ(::read(output, &byte, 1), 1);  // the file and the command are open now
  EXPECT_EQ(inherited(), before);
  close(open("/var/gate", O_WRONLY | O_CLOEXEC));
  running.join();
  close(output);
}

}  // namespace
}  // namespace vexora::test

extern "C" std::FILE *popen(const char *command, const char *modes) {
  errno = vexora::test::popenError;
  return errno != 0 ? nullptr : vexora::test::original(&popen, "popen")(command, modes);
}
