// SPDX-License-Identifier: Apache-2.0
//
// Transfers settings between packed records and a JSON file.
#pragma once

#include "config/settings_layout.h"

namespace vexora::config {

/// Fills the records from the file. `line` is the caller's, for the text of a refusal. Returns the result of the
/// exported function.
int load(const Store &store, void *record, int recordSize, void *destinations = nullptr, int destinationsSize = 0,
         int line = __builtin_LINE());

/// Writes the records to the file; otherwise like load().
int save(const Store &store, const void *record, int recordSize, const void *destinations = nullptr,
         int destinationsSize = 0, int line = __builtin_LINE());

}  // namespace vexora::config
