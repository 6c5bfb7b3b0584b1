// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/command.h"

namespace vexora::tool {

/// Adds "fru", inventory images.
void addFru(Command app, Session &session);

}  // namespace vexora::tool
