// SPDX-License-Identifier: Apache-2.0
//
// A FRU image for people to read.
#pragma once

#include <string>

#include "core/tool.h"
#include "fru/date.h"
#include "fru/parse.h"

namespace vexora::tool::fru {

std::string readable(const Parsed &parsed, Minute today);
std::vector<Finding> findingsOf(const std::vector<Fault> &faults);

}  // namespace vexora::tool::fru
