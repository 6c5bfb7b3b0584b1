// SPDX-License-Identifier: Apache-2.0
//
// Failure reports through the firmware's debug output ("[module:line]" and a message), and our module names in the
// debug log. People search their logs for the module names: they never change, whatever a source file is called today.
#pragma once

#include "firmware/unix.h"

namespace vexora {

inline constexpr const char *kBaseFunction = "libvexora_basefunction";  // text, pipes, monitors, whole files
inline constexpr const char *kFileOperator = "libvexora_fileoperator";
inline constexpr const char *kHistoryInterface = "libvexora_hisotry_data_interface";
inline constexpr const char *kPipeOpera = "vexora_pipe_opera";
inline constexpr const char *kTfCard = "vexora_tf_card";

inline constexpr int kReportFailure = 130;
inline constexpr int kReportWarning = 132;

// Modules and levels for VexoraDebug.
inline constexpr const char *kQueueLog = "ZELDIAG";  // queues and commands
inline constexpr const char *kSettingsLog = "IPMI";
inline constexpr unsigned kInfo = 0;
inline constexpr unsigned kError = 2;
inline constexpr unsigned kCritical = 3;

}  // namespace vexora

/// Reports a message: a literal printf format and its values. A macro because the line is the caller's.
#define REPORT_FAILURE(module, ...) VEXORA_REPORT(vexora::kReportFailure, module, __VA_ARGS__)
#define REPORT_WARNING(module, ...) VEXORA_REPORT(vexora::kReportWarning, module, __VA_ARGS__)
#define VEXORA_REPORT(level, module, format, ...) \
  XDBG_LINUXAPP_DbgOut(level, "[%s:%d]" format, module, __LINE__ __VA_OPT__(, __VA_ARGS__))
