// SPDX-License-Identifier: Apache-2.0
//
// The subscriptions' file, read line by line as the library's loader reads it, with what its author can't have meant.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vexora::tool {

struct LineFinding {
  std::size_t line;  // from 1; 0: the file as a whole
  std::string reason;
};

std::vector<LineFinding> checkSubscriptions(std::string_view file);

/// Whether a text is one of the file's keys.
bool isSubscriptionKey(std::string_view key);

}  // namespace vexora::tool
