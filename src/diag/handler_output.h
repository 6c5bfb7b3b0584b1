// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace vexora {

/// Writes to standard output's descriptor from a signal handler; the handler may have interrupted the stream. Text that
/// the output does not accept within a second is lost. A crash reporter calls it in a step: after a write that was
/// lost or cut short, its further writes do nothing.
void writeFromHandler(std::string_view text);

}  // namespace vexora
