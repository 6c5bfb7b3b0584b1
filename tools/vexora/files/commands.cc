// SPDX-License-Identifier: Apache-2.0
#include "files/commands.h"

namespace vexora::tool {

void addFiles(Command app, Session &session) {
  for (const auto add : {addUefi, addFile, addSignature}) {
    add(app, session);
  }
}

}  // namespace vexora::tool
