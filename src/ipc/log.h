// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vexora/diag.h"

/// Logs a failure of the queues and commands in the debug log. A macro so that the compiler checks the format.
#define LOG_CRITICAL(...) VexoraDebug(3, "ZELDIAG", __VA_ARGS__)
