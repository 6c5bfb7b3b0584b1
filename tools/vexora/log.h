// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "command.h"

namespace vexora::tool {

/// Adds "log tail".
void addTail(Command log, Session &session);

}  // namespace vexora::tool
