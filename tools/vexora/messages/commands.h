// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

void addSend(Command app, Session &session);   // "send"
void addWatch(Command app, Session &session);  // "watch"

}  // namespace vexora::tool
