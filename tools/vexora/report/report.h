// SPDX-License-Identifier: Apache-2.0
//
// A report on a board: what the other commands answer about it, part by part.
#pragma once

#include <string>
#include <vector>

#include "core/tool.h"

namespace vexora::tool::report {

inline constexpr std::size_t kLargestLog = 1U << 24;  // that is searched for crashes

/// A file of the board, with all that was found out about it.
struct Part {
  std::string path;
  std::string text;
  std::vector<Finding> findings = {};
};

/// Looks at all that is there. A picture of the history is drawn into a file, if one is named.
std::vector<Part> examine(Session &session, const std::string &debugFolder, const std::string &picture);

/// Runs another program of this machine, without a shell, and returns what it says.
std::string runProgram(std::vector<std::string> words);

}  // namespace vexora::tool::report
