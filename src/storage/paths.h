// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

namespace vexora::storage {

inline bool exists(const char *path) { return access(path, F_OK) == 0; }

}  // namespace vexora::storage
