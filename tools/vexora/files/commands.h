// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

/// Adds the commands of this folder: images, envelopes and signatures.
void addFiles(Command app, Session &session);

void addUefi(Command app, Session &session);       // "uefi"
void addFile(Command app, Session &session);       // "file"
void addSignature(Command app, Session &session);  // "signature"

}  // namespace vexora::tool
