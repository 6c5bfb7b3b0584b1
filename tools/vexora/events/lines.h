// SPDX-License-Identifier: Apache-2.0
//
// The subscriptions' file, read line by line as the library's loader reads it, with what its author can't have meant.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/tool.h"

namespace vexora::tool {

std::vector<Finding> checkSubscriptions(std::string_view file, const std::string &path);

/// Whether a text is one of the file's keys.
bool isSubscriptionKey(std::string_view key);

}  // namespace vexora::tool
