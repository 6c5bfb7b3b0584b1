// SPDX-License-Identifier: Apache-2.0
//
// What the multi-records of the standard's own types say.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "fru/image.h"

namespace vexora::tool::fru {

/// "Power supply"; "OEM" for the makers' types, "Reserved" for all others.
const char *recordTypeName(std::uint8_t type);

/// Names and values, of a record that is cut short as many as it holds.
std::vector<std::pair<std::string, std::string>> decodeRecord(const Record &record);

}  // namespace vexora::tool::fru
