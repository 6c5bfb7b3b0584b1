// SPDX-License-Identifier: Apache-2.0
//
// A step is cut short by a jump out of a signal handler: the timer's, or that of the step's own fault. Nothing
// that the step acquired is released, which is acceptable only because the process is about to end.
//
// The same signals also arrive from elsewhere: other processes send them, the daemon's own timer fires, other threads
// crash. The handler distinguishes them by their origin (si_code and sender). The handlers installed before don't
// receive it, so the reporter replaces them.

#include "diag/crash_steps.h"

#include <pthread.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <ctime>
#include <iterator>

namespace vexora {

namespace {

constexpr long kMaxStepSeconds = 1;
constexpr int kStepSignals[] = {SIGALRM, SIGSEGV, SIGBUS, SIGILL, SIGABRT, SIGFPE, SIGTRAP};

constinit std::atomic<long> reporter{0};
constinit volatile sig_atomic_t stepRuns = 0;
sigjmp_buf stepEnd;
int stepTimer;
struct sigaction actionsBefore[std::size(kStepSignals)];

/// Creates a timer of the calling thread: a timer of the process would wake other threads. Uses system calls, because
/// some C libraries allocate timers on the heap.
void createStepTimer() {
  sigevent event{};
  event.sigev_notify = SIGEV_THREAD_ID;
  event.sigev_signo = SIGALRM;
  event._sigev_un._tid = static_cast<pid_t>(currentThread());
  event.sigev_value.sival_ptr = &stepTimer;
  if (syscall(SYS_timer_create, CLOCK_MONOTONIC, &event, &stepTimer) != 0) {
    stepTimer = -1;  // no timer: steps have no time limit
  }
}

/// Starts or restarts the timer. It is never stopped: between steps its signal has no effect.
void startStepTimer() {
  const long periodAndStart[] = {0, 0, kMaxStepSeconds, 0};  // this call takes longs, whatever the size of time_t
  static_cast<void>(syscall(SYS_timer_settime, stepTimer, 0, periodAndStart, nullptr));
}

/// Returns false for a reporter of the parent process.
bool isThreadHere(long thread) { return syscall(SYS_tgkill, getpid(), thread, 0) == 0; }

[[noreturn]] void waitForTheEnd() {
  for (;;) {
    pause();
  }
}

[[noreturn]] void endStep() {
  if (stepRuns != 0) {
    siglongjmp(stepEnd, 1);
  }
  _exit(kCrashStatus);
}

/// Restores the handlers in a process that was forked during a report, and raises the signal again for its own handler.
void handBack(int signal) {
  for (std::size_t i = 0; i < std::size(kStepSignals); ++i) {
    static_cast<void>(sigaction(kStepSignals[i], &actionsBefore[i], nullptr));
  }
  static_cast<void>(raise(signal));
}

void onStepSignal(int signal, siginfo_t *info, void * /*context*/) {
  if (!isThreadHere(reporter.load())) {
    handBack(signal);
    return;
  }
  const bool faulted = signal != SIGALRM && info->si_code > SI_USER;
  const bool aborted = signal == SIGABRT && info->si_code == SI_TKILL && info->si_pid == getpid();
  const bool timeIsUp = info->si_code == SI_TIMER && info->si_value.sival_ptr == &stepTimer;
  if (isReporter()) {
    if (faulted || (stepRuns != 0 && (aborted || timeIsUp))) {
      endStep();
    }
  } else if (faulted || aborted) {
    waitForTheEnd();
  }
}

/// Unblocks the step's signals, all of which the fatal handler blocks.
void admitStepSignals() {
  struct sigaction action {};
  action.sa_sigaction = onStepSignal;
  action.sa_flags = SA_RESTART | SA_SIGINFO;
  static_cast<void>(sigfillset(&action.sa_mask));
  sigset_t admitted;
  static_cast<void>(sigemptyset(&admitted));
  for (std::size_t i = 0; i < std::size(kStepSignals); ++i) {
    static_cast<void>(sigaction(kStepSignals[i], &action, &actionsBefore[i]));
    static_cast<void>(sigaddset(&admitted, kStepSignals[i]));
  }
  static_cast<void>(pthread_sigmask(SIG_UNBLOCK, &admitted, nullptr));
}

}  // namespace

long currentThread() { return syscall(SYS_gettid); }

bool isReporter() { return reporter.load() == currentThread(); }

void becomeReporter() {
  // A pending cancellation would end this thread at the report's first write, and leave the process running.
  static_cast<void>(pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr));
  const long self = currentThread();
  for (long holder = 0; !reporter.compare_exchange_strong(holder, self);) {
    if (holder == self) {
      endStep();  // the daemon has reinstalled its handlers during the report
    }
    if (isThreadHere(holder)) {
      waitForTheEnd();
    }
  }
  stepRuns = 0;
  createStepTimer();
  admitStepSignals();
}

bool runStep(void (*step)(void *context), void *context) {
  if (sigsetjmp(stepEnd, 1) != 0) {
    stepRuns = 0;
    return false;
  }
  startStepTimer();
  stepRuns = 1;
  step(context);
  stepRuns = 0;
  return true;
}

}  // namespace vexora
