// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

/// Adds the commands about requests between daemons.
void addMessages(Command app, Session &session);

void addSend(Command app, Session &session);
void addWatch(Command app, Session &session);

}  // namespace vexora::tool
