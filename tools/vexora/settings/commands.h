// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

/// Adds the commands of this folder: the board's settings and the values that they take.
void addSettings(Command app, Session &session);

void addConfig(Command app, Session &session);  // "config"
void addCheck(Command app, Session &session);   // "check"

}  // namespace vexora::tool
