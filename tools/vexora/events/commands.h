// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

void addSubscriptions(Command app, Session &session);  // "subscriptions"
void addEvent(Command app, Session &session);          // "event"
void addAdvice(Command app, Session &session);         // "advice"

}  // namespace vexora::tool
