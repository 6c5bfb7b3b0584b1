// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

/// Adds the commands about the debug log's switches and the watchdog log.
void addLog(Command app, Session &session);

void addTail(Command log, Session &session);

}  // namespace vexora::tool
