// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/report.h"

/// The module name in the reports of pipes, monitors and commands.
inline constexpr const char *kIpcModule = "libvexora_basefunction";

/// Reports a failure: "[module:line]" and a printf format with its values.
#define IPC_REPORT(format, ...) VEXORA_REPORT_VALUES(vexora::kReportFailure, kIpcModule, format, __VA_ARGS__)
