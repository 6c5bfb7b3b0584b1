// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

/// Adds the commands of this folder: a dump as a whole, and the crashes in it.
void addReport(Command app, Session &session);

void addCrash(Command app, Session &session);  // "crash"

}  // namespace vexora::tool
