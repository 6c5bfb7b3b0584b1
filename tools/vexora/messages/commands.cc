// SPDX-License-Identifier: Apache-2.0
#include "messages/commands.h"

namespace vexora::tool {

void addMessages(Command app, Session &session) {
  for (const auto add : {addSend, addWatch}) {
    add(app, session);
  }
}

}  // namespace vexora::tool
