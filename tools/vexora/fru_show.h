// SPDX-License-Identifier: Apache-2.0
//
// A FRU image for people to read.
#pragma once

#include <string>

#include "fru_date.h"
#include "fru_parse.h"

namespace vexora::tool::fru {

std::string readable(const Parsed &parsed, Minute today);
std::string readable(const std::vector<Fault> &faults);

}  // namespace vexora::tool::fru
