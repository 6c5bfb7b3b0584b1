// SPDX-License-Identifier: Apache-2.0
//
// Names of the images on the card: the image's name followed by ".new" or ".old".
#pragma once

#include <cstddef>
#include <cstring>
#include <optional>
#include <string_view>

#include "storage/card_layout.h"

namespace vexora::storage {

/// Returns the part of a file name before the first `generation` (".new" or ".old"), nothing without one. A name with
/// both is both.
inline std::optional<std::string_view> imageOf(const char *fileName, const char *generation) {
  const char *const end = std::strstr(fileName, generation);
  if (end == nullptr) {
    return std::nullopt;
  }
  return std::string_view(fileName, static_cast<std::size_t>(end - fileName));
}

/// For printf's "%.*s".
inline int printed(std::string_view text) { return static_cast<int>(text.size()); }

}  // namespace vexora::storage
