// SPDX-License-Identifier: Apache-2.0
//
// A FRU image for people to read.
#pragma once

#include <string>

#include "core/several.h"
#include "core/tool.h"
#include "fru/date.h"
#include "fru/parse.h"

namespace vexora::tool::fru {

std::string readable(const Parsed &parsed, Minute today);

/// `before` stands before each place.
std::vector<Finding> findingsOf(const std::vector<Fault> &faults, const std::string &file,
                                const std::string &before = "");

/// All that an image says, under the names that `fru set` takes.
std::vector<NamedValue> valuesOf(const Image &image, Minute today);

}  // namespace vexora::tool::fru
