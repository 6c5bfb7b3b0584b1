// SPDX-License-Identifier: Apache-2.0
#ifndef FIRMWARE_STANDINS_NO_EXCEPTIONS_H
#define FIRMWARE_STANDINS_NO_EXCEPTIONS_H

namespace vexora::firmware {

/// Runs `body` and returns `failure` if it throws, as a failed allocation does: C callers cannot be unwound.
template <typename Result, typename Body>
Result withoutExceptions(Result failure, Body body) noexcept {
  try {
    return body();
  } catch (...) {
    return failure;
  }
}

}  // namespace vexora::firmware

#endif
