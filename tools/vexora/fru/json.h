// SPDX-License-Identifier: Apache-2.0
//
// Converts a FRU image to a JSON document and back. Some pairs of members have the same meaning ("type" and "encoding",
// "minutes" and "date", "bytes" and "text"): if a description has both, they must agree. "typeName", "name", "decoded",
// "languageName" and "faults" are for people and ignored.
#pragma once

#include "core/tool.h"
#include "fru/date.h"
#include "fru/parse.h"

namespace vexora::tool::fru {

Json toJson(const Parsed &parsed, Minute today);

/// Throws Failure(kFinding), which names the wrong member.
Image fromJson(const Json &document, Minute today);

}  // namespace vexora::tool::fru
