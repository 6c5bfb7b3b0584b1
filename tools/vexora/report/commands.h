// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

/// Adds the commands about a board or dump as a whole, and about crashes.
void addReport(Command app, Session &session);

void addCrash(Command app, Session &session);

}  // namespace vexora::tool
