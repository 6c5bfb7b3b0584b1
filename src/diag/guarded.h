// SPDX-License-Identifier: Apache-2.0
//
// Steps of a crash report that can't be made safe: the process died anywhere, perhaps with the heap's or standard
// output's lock held, perhaps with both in pieces. Such a step gets a second; when it hangs, or faults itself, the
// report goes on with the next one.
#pragma once

namespace vexora {

/// Tells the kernel's id of the calling thread; safe in a signal handler.
long currentThread();

/// Makes the calling thread, inside its fatal handler, the one that reports. Only the first thread of a process gets
/// past this. Another thread that crashes meanwhile stays here until the process has ended. A fault of the reporting
/// thread itself ends its guarded step, or the process with `status` where no step is guarded.
void becomeReporter(int status);

/// True while the calling thread reports a crash.
bool isReporter();

/// Runs `step(context)` for at most a second. False when it was cut short. Whatever it should leave behind has to be in
/// static storage.
bool runGuarded(void (*step)(void *context), void *context);

}  // namespace vexora
