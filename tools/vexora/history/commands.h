// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

void addHistory(Command app, Session &session);

}  // namespace vexora::tool
