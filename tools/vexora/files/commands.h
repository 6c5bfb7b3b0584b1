// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

/// Adds the commands about images, envelopes and signatures.
void addFiles(Command app, Session &session);

void addUefi(Command app, Session &session);
void addFile(Command app, Session &session);
void addSignature(Command app, Session &session);

}  // namespace vexora::tool
