// SPDX-License-Identifier: Apache-2.0
//
// A guarded step ends early by a jump out of a signal handler: the alarm's, or that of the fault that the step ran
// into. Nothing it held is given back, which is all right only because the process is about to end.

#include "diag/guarded.h"

#include <pthread.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>

namespace vexora {

namespace {

constexpr int kLongestStepSeconds = 1;

constinit std::atomic<long> reporter{0};
constinit volatile sig_atomic_t stepRuns = 0;
sigjmp_buf stepEnd;

/// Arms the alarm, or stills it with 0 seconds.
void setAlarm(int seconds) {
  itimerval timer{};
  timer.it_value.tv_sec = seconds;
  static_cast<void>(setitimer(ITIMER_REAL, &timer, nullptr));
}

/// The alarm is the process's, so any thread may get it; it is meant for the reporter.
void onAlarm(int /*signal*/) {
  if (!isReporter()) {
    static_cast<void>(syscall(SYS_tgkill, getpid(), reporter.load(), SIGALRM));
  } else if (stepRuns != 0) {
    siglongjmp(stepEnd, 1);
  }
}

/// Lets the alarm, and the faults that a step may run into, through the full mask of the fatal handler.
void admitStepSignals() {
  struct sigaction alarmAction {};
  alarmAction.sa_handler = onAlarm;
  alarmAction.sa_flags = SA_RESTART;
  static_cast<void>(sigfillset(&alarmAction.sa_mask));
  static_cast<void>(sigaction(SIGALRM, &alarmAction, nullptr));
  sigset_t admitted;
  static_cast<void>(sigemptyset(&admitted));
  for (const int signal : {SIGALRM, SIGSEGV, SIGBUS, SIGILL, SIGABRT, SIGFPE, SIGTRAP}) {
    static_cast<void>(sigaddset(&admitted, signal));
  }
  static_cast<void>(pthread_sigmask(SIG_UNBLOCK, &admitted, nullptr));
}

}  // namespace

long currentThread() { return syscall(SYS_gettid); }

bool isReporter() { return reporter.load() == currentThread(); }

void becomeReporter(int status) {
  // A thread that was cancelled before it crashed would end at the report's first write, and leave the process running.
  static_cast<void>(pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr));
  long none = 0;
  if (reporter.compare_exchange_strong(none, currentThread())) {
    admitStepSignals();
    return;
  }
  if (!isReporter()) {
    for (;;) {
      pause();
    }
  }
  if (stepRuns != 0) {
    siglongjmp(stepEnd, 1);
  }
  _exit(status);
}

bool runGuarded(void (*step)(void *context), void *context) {
  if (sigsetjmp(stepEnd, 1) != 0) {
    stepRuns = 0;
    setAlarm(0);
    return false;
  }
  stepRuns = 1;
  setAlarm(kLongestStepSeconds);
  step(context);
  stepRuns = 0;
  setAlarm(0);
  return true;
}

}  // namespace vexora
