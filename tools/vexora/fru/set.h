// SPDX-License-Identifier: Apache-2.0
//
// Changes single fields of a FRU image, and moves areas when one has grown.
#pragma once

#include "fru/date.h"
#include "fru/image.h"

namespace vexora::tool::fru {

/// Executes an assignment such as "board.serial-number=B42". Without `encoding` the field keeps its own if that can
/// represent the text. Throws Failure(kUsage) when there is no such field, Failure(kFinding) when it can't have the
/// value.
void assign(Image &image, const std::string &assignment, std::optional<Encoding> encoding, Minute today);

/// Lengthens areas whose fields need it, and moves the next ones only as far as needed. Returns a line for each change.
/// Throws Failure(kFinding) when the image would have to grow and may not.
std::vector<std::string> layOut(Image &image, bool mayGrow);

}  // namespace vexora::tool::fru
