// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vexora::tool {

/// Returns the path of a component monitor's pipe; instance 0 is the monitor of all instances.
std::string componentPipe(unsigned kind, unsigned instance);

}  // namespace vexora::tool
