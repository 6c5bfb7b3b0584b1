// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tool.h"

namespace vexora::tool {

/// Adds "log tail".
void addTail(CLI::App &log, Session &session);

}  // namespace vexora::tool
