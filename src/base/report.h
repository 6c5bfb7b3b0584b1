// SPDX-License-Identifier: Apache-2.0
//
// Failure reports through the platform's debug output. The module names in them are part of the
// texts that people search their logs for, so they stay what they have always been, whatever a
// source file is called today.
#pragma once

#include "firmware/unix.h"

namespace vexora {

inline constexpr int kReportFailure = 130;
inline constexpr int kReportWarning = 132;

}  // namespace vexora

/// Reports "[module:line]" and a message. `message` is a literal; a macro because the line is the caller's.
#define VEXORA_REPORT(level, module, message) XDBG_LINUXAPP_DbgOut((level), "[%s:%d]" message, (module), __LINE__)

/// The same with a printf format and the values for it.
#define VEXORA_REPORT_VALUES(level, module, format, ...) \
  XDBG_LINUXAPP_DbgOut((level), "[%s:%d]" format, (module), __LINE__, __VA_ARGS__)
