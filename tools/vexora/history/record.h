// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/tool.h"

namespace vexora::tool::history {

struct RecordOptions {
  unsigned every = 0;  // seconds
  unsigned count = 0;  // 0 goes on until a signal
  bool replace = false;
};

/// Samples as a daemon does: the data file is replaced at each new hour.
void record(Session &session, const RecordOptions &options);

}  // namespace vexora::tool::history
