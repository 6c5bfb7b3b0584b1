// SPDX-License-Identifier: Apache-2.0
#include "support/process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <gtest/gtest.h>

namespace vexora::test {

int runInChild(const std::function<void()> &body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) {
    throw std::runtime_error("cannot fork");
  }
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
  std::fflush(stdout);
  std::FILE *file = std::tmpfile();
  const int saved = dup(STDOUT_FILENO);
  if (file == nullptr || saved < 0 || dup2(fileno(file), STDOUT_FILENO) < 0) {
    throw std::runtime_error("cannot redirect standard output");
  }
  body();
  std::fflush(stdout);
  dup2(saved, STDOUT_FILENO);
  close(saved);

  std::string output;
  char block[4096];
  std::rewind(file);
  for (std::size_t got = 0; (got = std::fread(block, 1, sizeof block, file)) > 0;) {
    output.append(block, got);
  }
  std::fclose(file);
  return output;
}

}  // namespace vexora::test
