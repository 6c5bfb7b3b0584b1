// SPDX-License-Identifier: Apache-2.0
//
// A report on a board: the other commands' output, part by part.
#pragma once

#include <string>
#include <vector>

#include "core/tool.h"

namespace vexora::tool::report {

inline constexpr std::size_t kMaxLog = 1U << 24;  // larger files are not searched for crashes

/// A file of the board, with the commands' output and findings.
struct Part {
  std::string path;
  std::string text;
  std::vector<Finding> findings = {};
};

/// Examines all files of the board. Draws the history into the file `picture` unless it is "".
std::vector<Part> examine(Session &session, const std::string &debugDirectory, const std::string &picture);

/// Runs a program of this machine, without a shell, and returns its output.
std::string runProgram(std::vector<std::string> words);

}  // namespace vexora::tool::report
