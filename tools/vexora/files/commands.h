// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

void addUefi(Command app, Session &session);       // "uefi"
void addFile(Command app, Session &session);       // "file"
void addSignature(Command app, Session &session);  // "signature"

}  // namespace vexora::tool
