// SPDX-License-Identifier: Apache-2.0
//
// Draws the history as a picture. It needs cairo, which boards don't have: VEXORA_TOOLS_PLOT=OFF omits it.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "history/chart.h"

namespace vexora::tool::history {

enum class Picture { kSvg, kPng };

/// In points. A PNG has two dots per point in each direction.
struct Size {
  unsigned width = 1200;
  unsigned height = 790;
};

/// Returns the picture's file.
std::string drawPicture(Picture kind, std::span<const Selection> histories, std::span<const Heading> headings,
                        const Size &size);

}  // namespace vexora::tool::history
