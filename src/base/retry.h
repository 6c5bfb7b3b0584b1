// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>

namespace vexora {

/// Repeats a system call while it fails with EINTR.
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
