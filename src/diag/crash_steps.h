// SPDX-License-Identifier: Apache-2.0
//
// Steps of a crash report that can't be made safe: the crash may have left the heap or standard output locked or
// damaged. Each step gets one second; when it hangs or faults, the report continues with the next step.
#pragma once

namespace vexora {

/// Status of a process that crashed.
inline constexpr int kCrashStatus = 255;

/// Returns the kernel's id of the calling thread; safe in a signal handler.
long currentThread();

/// Makes the calling thread, inside its fatal handler, the reporter. Returns only in the first thread of a process that
/// calls it; any other thread that crashes waits here until the process has ended. From now on a fault or an abort of
/// the reporter ends its step, a fault outside a step ends the process, and signals of other processes end neither.
void becomeReporter();

/// Returns whether the calling thread is the reporter.
bool isReporter();

/// Runs `step(context)` for at most one second; returns false when it was cut short. Results that have to survive the
/// step must be in static storage.
bool runStep(void (*step)(void *context), void *context);

template <typename Step>
bool runStep(Step step) {
  return runStep([](void *context) { (*static_cast<Step *>(context))(); }, &step);
}

}  // namespace vexora
