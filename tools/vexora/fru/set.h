// SPDX-License-Identifier: Apache-2.0
//
// Changes of single fields of a FRU image, and the new places of areas that have grown.
#pragma once

#include "fru/date.h"
#include "fru/image.h"

namespace vexora::tool::fru {

/// Carries "board.serial-number=B42" out. Without an encoding the field keeps its own where that has a place for the
/// text. Throws Failure(kUsage) when there is no such field, Failure(kFinding) when it can't have the value.
void assign(Image &image, const std::string &assignment, std::optional<Encoding> encoding, Minute today);

/// Lengthens areas whose fields need it, and moves those after them only as far as needed. Returns what was done, a
/// line each. The image becomes longer only when it may; throws Failure(kFinding) otherwise.
std::vector<std::string> layOut(Image &image, bool mayGrow);

}  // namespace vexora::tool::fru
