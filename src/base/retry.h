// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>

namespace vexora {

/// Repeats a platform call for as long as a signal makes it fail.
template <typename Call>
auto retryInterrupted(Call call) {
  for (;;) {
    const auto result = call();
    if (result != -1 || errno != EINTR) {
      return result;
    }
  }
}

}  // namespace vexora
