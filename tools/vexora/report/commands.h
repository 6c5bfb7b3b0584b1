// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

void addReport(Command app, Session &session);  // "report"
void addCrash(Command app, Session &session);   // "crash"

}  // namespace vexora::tool
