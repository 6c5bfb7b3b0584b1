// SPDX-License-Identifier: Apache-2.0
//
// Reads the subscriptions' file line by line as the library's loader does, and reports lines that its author can't have
// meant.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/tool.h"

namespace vexora::tool {

std::vector<Finding> checkSubscriptions(std::string_view file, const std::string &path);

}  // namespace vexora::tool
