// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

/// Adds the commands about the board's settings and their values.
void addSettings(Command app, Session &session);

void addConfig(Command app, Session &session);
void addCheck(Command app, Session &session);

}  // namespace vexora::tool
