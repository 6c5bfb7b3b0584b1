// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

/// Adds the commands about events: the document, its subscribers and the advice.
void addEvents(Command app, Session &session);

void addSubscriptions(Command app, Session &session);
void addEvent(Command app, Session &session);
void addAdvice(Command app, Session &session);

}  // namespace vexora::tool
