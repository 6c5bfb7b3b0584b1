// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace vexora {

/// Writes to standard output's descriptor from a signal handler. The stream is not touched: the handler may have
/// interrupted it. What the reader leaves no room for within a second is lost. To be guarded in the thread that reports
/// a crash; from the first write that was cut short or lost, its further ones do nothing.
void writeFromHandler(std::string_view text);

}  // namespace vexora
