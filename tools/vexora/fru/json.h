// SPDX-License-Identifier: Apache-2.0
//
// A FRU image as a JSON document, and back. Members that only explain others ("encoding" beside "type", "date" beside
// "minutes", "text" beside "bytes") may be left out of a description, or stand alone; where both are given they have to
// agree. "typeName", "name", "decoded", "languageName" and "faults" are for readers and not looked at.
#pragma once

#include "core/tool.h"
#include "fru/date.h"
#include "fru/parse.h"

namespace vexora::tool::fru {

Json toJson(const Parsed &parsed, Minute today);

/// Throws Failure(kFinding) naming the member that can't be used.
Image fromJson(const Json &document, Minute today);

}  // namespace vexora::tool::fru
