// SPDX-License-Identifier: Apache-2.0
//
// The history as a picture. Built with cairo, which boards don't carry: VEXORA_TOOLS_PLOT=OFF leaves it out.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "history/file.h"

namespace vexora::tool::history {

enum class Picture { kSvg, kPng };

/// Draws both sensors over the records between `from` and `to`, and returns the picture's file.
std::string drawPicture(Picture kind, std::span<const Record> records, std::int64_t from, std::int64_t to, bool utc);

}  // namespace vexora::tool::history
