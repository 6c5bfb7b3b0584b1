// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

/// Adds the commands of this folder: what daemons say about events: the document, its receivers, and the advice.
void addEvents(Command app, Session &session);

void addSubscriptions(Command app, Session &session);  // "subscriptions"
void addEvent(Command app, Session &session);          // "event"
void addAdvice(Command app, Session &session);         // "advice"

}  // namespace vexora::tool
