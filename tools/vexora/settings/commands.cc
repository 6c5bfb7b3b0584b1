// SPDX-License-Identifier: Apache-2.0
#include "settings/commands.h"

namespace vexora::tool {

void addSettings(Command app, Session &session) {
  for (const auto add : {addConfig, addCheck}) {
    add(app, session);
  }
}

}  // namespace vexora::tool
