// SPDX-License-Identifier: Apache-2.0
//
// The built program as a person at the bench starts it: a command line, and its output on both streams.
#pragma once

#include "support/test.h"

namespace vexora::test {

struct Answer {
  int status;
  std::string text;
};

inline Answer shell(const std::string &command) {
  FILE *pipe = popen((command + " 2>&1").c_str(), "r");
  std::string text;
  for (int byte = 0; (byte = std::getc(pipe)) != EOF;) {
    text += static_cast<char>(byte);
  }
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text};
}

}  // namespace vexora::test
