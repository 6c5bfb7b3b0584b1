// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

void addConfig(Command app, Session &session);  // "config"
void addCheck(Command app, Session &session);   // "check"

}  // namespace vexora::tool
