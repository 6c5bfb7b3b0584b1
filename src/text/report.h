// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/report.h"

namespace vexora::text {

/// The module name in the reports of validators and utilities.
inline constexpr const char *kModule = "libvexora_basefunction";

}  // namespace vexora::text
