// SPDX-License-Identifier: Apache-2.0
//
// How a firmware image's generations are named on the card: the image's name followed by ".new" or ".old".
#pragma once

#include <cstddef>
#include <cstring>
#include <optional>
#include <string_view>

namespace vexora::storage {

inline constexpr const char *kNewImage = ".new";
inline constexpr const char *kOldImage = ".old";

/// The image that a file is a generation of: what stands before the first `generation` in its name; none when the name
/// doesn't hold it. A name that holds both generations is both.
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
