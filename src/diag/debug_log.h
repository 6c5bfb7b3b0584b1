// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vexora {

/// VexoraDebug for signal handlers: writes to standard output's descriptor instead of its stream, and takes the local
/// time from the UTC offset learned last.
void debugFromHandler(unsigned level, const char *module, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

/// Learns the local time zone's UTC offset, for records of signal handlers.
void learnUtcOffset();

}  // namespace vexora
