// SPDX-License-Identifier: Apache-2.0
#ifndef FIRMWARE_STANDINS_GUARDED_H
#define FIRMWARE_STANDINS_GUARDED_H

namespace vexora::firmware {

/// Runs `body` and turns an exception, such as that of a failed allocation, into `failure`: the callers are C and
/// cannot be unwound.
template <typename Result, typename Body>
Result guarded(Result failure, Body body) noexcept {
  try {
    return body();
  } catch (...) {
    return failure;
  }
}

}  // namespace vexora::firmware

#endif
