// SPDX-License-Identifier: Apache-2.0
//
// The history as a picture. Built with cairo, which boards don't carry: VEXORA_TOOLS_PLOT=OFF leaves it out.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "history/chart.h"

namespace vexora::tool::history {

enum class Picture { kSvg, kPng };

/// In points, of which a PNG has two dots each way.
struct Size {
  unsigned width = 1200;
  unsigned height = 790;
};

/// Draws a chart and returns the picture's file.
std::string drawPicture(Picture kind, std::span<const Selection> histories, std::span<const Heading> headings,
                        const Size &size);

}  // namespace vexora::tool::history
