// SPDX-License-Identifier: Apache-2.0
//
// Decodes the multi-records of the standard's types.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "fru/image.h"

namespace vexora::tool::fru {

/// Returns, for instance, "Power supply"; "OEM" for the makers' types, "Reserved" for all others.
const char *recordTypeName(std::uint8_t type);

/// Returns names and values, in a truncated record only the complete ones.
std::vector<std::pair<std::string, std::string>> decodeRecord(const Record &record);

}  // namespace vexora::tool::fru
