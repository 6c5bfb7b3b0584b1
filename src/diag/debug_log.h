// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vexora {

/// Logs as VexoraDebug does, from a signal handler: the record goes to standard output's descriptor instead of its
/// stream, and its time shows the UTC offset learned last.
void debugFromHandler(unsigned level, const char *module, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

/// Asks the platform for the local time zone's offset, for records that handlers log.
void learnUtcOffset();

}  // namespace vexora
