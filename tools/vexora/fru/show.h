// SPDX-License-Identifier: Apache-2.0
//
// Shows a FRU image as text.
#pragma once

#include <string>

#include "core/several.h"
#include "core/tool.h"
#include "fru/date.h"
#include "fru/parse.h"

namespace vexora::tool::fru {

std::string readable(const Parsed &parsed, Minute today);

/// Puts `before` before each place.
std::vector<Finding> findingsOf(const std::vector<Fault> &faults, const std::string &file,
                                const std::string &before = "");

/// Returns all values of an image, under the names that `fru set` accepts.
std::vector<NamedValue> valuesOf(const Image &image, Minute today);

}  // namespace vexora::tool::fru
