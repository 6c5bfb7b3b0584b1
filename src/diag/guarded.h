// SPDX-License-Identifier: Apache-2.0
//
// Steps of a crash report that can't be made safe: the process died anywhere, perhaps with the heap's or standard
// output's lock held, perhaps with both in pieces. Such a step gets a second; when it hangs, or faults itself, the
// report goes on with the next one.
#pragma once

namespace vexora {

/// Status of a process that crashed.
inline constexpr int kCrashStatus = 255;

/// Returns the kernel's id of the calling thread; safe in a signal handler.
long currentThread();

/// Makes the calling thread, inside its fatal handler, the one that reports. Only the first thread of a process returns
/// from this. Another thread that crashes meanwhile stays here until the process has ended. From now on a fault or an
/// abort of the reporting thread ends its guarded step, a fault outside any step ends the process, and what other
/// processes send ends neither.
void becomeReporter();

/// True while the calling thread reports a crash.
bool isReporter();

/// Runs `step(context)` for at most a second. False when it was cut short. Whatever it should leave behind has to be in
/// static storage.
bool runGuarded(void (*step)(void *context), void *context);

template <typename Step>
bool runGuarded(Step step) {
  return runGuarded([](void *context) { (*static_cast<Step *>(context))(); }, &step);
}

}  // namespace vexora
