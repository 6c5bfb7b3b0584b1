// SPDX-License-Identifier: Apache-2.0
#include "events/commands.h"

namespace vexora::tool {

void addEvents(Command app, Session &session) {
  for (const auto add : {addSubscriptions, addEvent, addAdvice}) {
    add(app, session);
  }
}

}  // namespace vexora::tool
