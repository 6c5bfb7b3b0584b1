// SPDX-License-Identifier: Apache-2.0
//
// The daemons' signal handlers. Most only print that a signal arrived. SIGABRT and the fatal signals end the process,
// the latter after a report with a backtrace.
//
// A handler may have interrupted anything, so none uses standard output's stream: lines are written to its descriptor.
// Buffered output of the process would be lost at the end; a fatal handler first tries to flush it. Handlers run with
// every signal blocked, with system calls restarted, and on the thread's own stack: on an exhausted stack the kernel
// ends the process without a report.

#include <execinfo.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "base/report.h"
#include "diag/crash_steps.h"
#include "diag/debug_log.h"
#include "diag/handler_output.h"
#include "diag/log_layout.h"
#include "vexora/diag.h"

namespace {

using vexora::kCritical;
using vexora::runStep;
using vexora::diag::kMaxFrames;

constexpr int kNoBacktraceStatus = 1;

constinit char moduleName[32] = "ZELMONITOR";

/// Preserves errno for the interrupted code, and disables cancellation of the thread: write() is a cancellation point,
/// and the interrupted code may hold a lock.
class Interruption {
 public:
  Interruption() : errno_(errno) { static_cast<void>(pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState_)); }
  Interruption(const Interruption &) = delete;
  Interruption &operator=(const Interruption &) = delete;
  ~Interruption() {
    static_cast<void>(pthread_setcancelstate(cancelState_, nullptr));
    errno = errno_;
  }

 private:
  const int errno_;
  int cancelState_ = PTHREAD_CANCEL_ENABLE;
};

/// The texts of the fatal signals. They are an interface and differ for historical reasons; don't unify them.
struct FatalTexts {
  int signal;
  const char *name;
  bool namesModule;  // whether the last printed line has the daemon's module or a fixed name
  const char *endRecord;
};

constexpr FatalTexts kFatalTexts[] = {
    {SIGSEGV, "SIGSEGV", true, "  is terminating because of SIGSEGV !!!!!"},
    {SIGBUS, "SIGBUS", true, "VexoraMonitor is terminating because of SIGBUS !!!!!"},
    {SIGILL, "SIGILL", false, "  VexoraMonitor is terminating because of SIGILL !!!!!"},
};

// Results of the report's steps. Only one thread of a process reports.
struct Backtrace {
  std::array<void *, kMaxFrames> frames;
  int depth;
  char **lines;
  std::array<char, 1024> line;
};

constinit Backtrace trace{};

void reportLine(const char *line) {
  vexora::writeFromHandler(line);
  vexora::writeFromHandler("\n");
  vexora::debugFromHandler(kCritical, moduleName, "%s", line);
}

/// Translates one frame without the heap, through a pipe. Leaves the line unchanged on failure.
void translateOne(void *const *frame) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    return;
  }
  backtrace_symbols_fd(frame, 1, ends[1]);
  close(ends[1]);
  const ssize_t got = read(ends[0], trace.line.data(), trace.line.size() - 1);
  close(ends[0]);
  if (got > 0) {
    trace.line[static_cast<std::size_t>(got)] = '\0';
    trace.line[std::strcspn(trace.line.data(), "\n")] = '\0';
  }
}

void exitWithoutBacktrace() {
  std::perror("backtrace_symbols");
  std::exit(kNoBacktraceStatus);  // NOLINT(concurrency-mt-unsafe): the exit handlers are to run, whoever else runs
}

void reportBacktrace() {
  runStep([] { trace.depth = backtrace(trace.frames.data(), kMaxFrames); });
  if (runStep([] { trace.lines = backtrace_symbols(trace.frames.data(), trace.depth); })) {
    if (trace.lines == nullptr) {
      runStep(exitWithoutBacktrace);
      _exit(kNoBacktraceStatus);
    }
    for (int i = 0; i < trace.depth; ++i) {
      runStep([i] { reportLine(trace.lines[i]); });
    }
    runStep([] { std::free(trace.lines); });
    return;
  }
  // The heap is locked or damaged. Frames are translated one by one; when that fails, too, their addresses are
  // reported.
  bool translates = true;
  for (int i = 0; i < trace.depth; ++i) {
    void **const frame = &trace.frames[static_cast<std::size_t>(i)];
    std::snprintf(trace.line.data(), trace.line.size(), "[%p]", *frame);
    translates = translates && runStep([frame] { translateOne(frame); });
    runStep([] { reportLine(trace.line.data()); });
  }
}

void reportThread(const FatalTexts &texts) {
  std::array<char, 256> thread{};
  static_cast<void>(prctl(PR_GET_NAME, thread.data(), 0, 0, 0));
  std::array<char, 512> lines;
  std::snprintf(lines.data(), lines.size(), "  Thread %ld (%s) received %s\n  %s is terminating because of %s !!!!!\n",
                vexora::currentThread(), thread.data(), texts.name, texts.namesModule ? moduleName : "VexoraMonitor",
                texts.name);
  vexora::writeFromHandler(lines.data());
  vexora::debugFromHandler(kCritical, moduleName, "  Thread %ld (%s) received %s", vexora::currentThread(),
                           thread.data(), texts.name);
  vexora::debugFromHandler(kCritical, moduleName, "%s", texts.endRecord);
}

void flushStandardOutput() { static_cast<void>(std::fflush(stdout)); }

void onFatal(int signal) {
  vexora::becomeReporter();
  runStep(vexora::learnUtcOffset);
  runStep(flushStandardOutput);
  reportBacktrace();
  for (const FatalTexts &texts : kFatalTexts) {
    if (texts.signal == signal) {
      runStep([&texts] { reportThread(texts); });
    }
  }
  _exit(vexora::kCrashStatus);
}

void printReceived(int signal);

void onAbort(int signal) {
  vexora::becomeReporter();
  runStep(flushStandardOutput);
  runStep([signal] { printReceived(signal); });
  _exit(vexora::kCrashStatus);
}

void onQuit(int signal) {
  const Interruption interruption;
  printReceived(signal);
  vexora::debugFromHandler(kCritical, moduleName, "Received SIGQUIT");
}

void ignore(int /*signal*/) {}

struct Handling {
  int signal;
  void (*handler)(int);
  const char *line;  // what the handler prints
};

// In the order of installation. A caller that reads SIGURG's handler back gets the exported function, which ignores the
// signal number in its argument register.
const Handling kHandlings[] = {
    {SIGQUIT, onQuit, "Received SIGQUIT\n"},
    {SIGILL, onFatal, nullptr},
    {SIGTRAP, printReceived, "  Received SIGTRAP\n"},
    {SIGABRT, onAbort, "  Received SIGABRT\n"},
    {SIGBUS, onFatal, nullptr},
    {SIGFPE, ignore, nullptr},
    {SIGUSR1, printReceived, "  Received SIGUSR1\n"},
    {SIGSEGV, onFatal, nullptr},
    {SIGUSR2, printReceived, "  Received SIGUSR2\n"},
    {SIGPIPE, printReceived, "  Received SIGPIPE\n"},
    {SIGCHLD, ignore, nullptr},
    {SIGCONT, printReceived, "  Received SIGCONT\n"},
    {SIGTSTP, printReceived, "  Received SIGTSTP\n"},
    {SIGTTIN, printReceived, "  Received SIGTTIN\n"},
    {SIGTTOU, printReceived, "  Received SIGTTOU\n"},
    {SIGURG, reinterpret_cast<void (*)(int)>(sigurg), "  Received SIGURG\n"},
    {SIGXCPU, printReceived, "  Received SIGXCPU\n"},
    {SIGXFSZ, printReceived, "  Received SIGXFSZ\n"},
    {SIGVTALRM, printReceived, "  Received SIGVTALRM\n"},
    {SIGPROF, printReceived, "  Received SIGPROF\n"},
    {SIGWINCH, printReceived, "  Received SIGWINCH\n"},
    {SIGIO, printReceived, "  Received SIGIO\n"},
    {SIGPWR, printReceived, "  Received SIGPWR\n"},
    {SIGTERM, printReceived, "  Received SIGTERM\n"},
};

void printReceived(int signal) {
  const Interruption interruption;
  for (const Handling &known : kHandlings) {
    if (known.signal == signal) {
      vexora::writeFromHandler(known.line);
    }
  }
}

/// Copies the first `length` characters, limited by the name's end and the buffer.
void setModuleName(const char *name, int length) {
  const std::size_t most = std::min<std::size_t>(sizeof moduleName - 1, static_cast<std::size_t>(std::max(length, 0)));
  const std::size_t kept = strnlen(name, most);
  std::memcpy(moduleName, name, kept);
  std::memset(moduleName + kept, 0, sizeof moduleName - kept);
}

/// Does the work of the first use outside any handler: the first backtrace loads a library, the log learns the time
/// zone.
void prime() {
  static_cast<void>(backtrace(trace.frames.data(), 1));
  vexora::learnUtcOffset();
}

}  // namespace

void sigurg() { printReceived(SIGURG); }

int InstallSignal(int signal, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  static_cast<void>(sigfillset(&action.sa_mask));
  if (sigaction(signal, &action, nullptr) != 0) {
    std::printf("Cannot catch signal SigNum %d\n", signal);
  }
  return 0;
}

int VexoraInitSignals(const char *module_name, int length) {
  if (module_name == nullptr) {
    std::puts("VexoraInitSignals==DebugModuleName NULL,So exit");
    return -1;
  }
  setModuleName(module_name, length);
  prime();
  for (const Handling &handling : kHandlings) {
    static_cast<void>(InstallSignal(handling.signal, handling.handler));
  }
  return 0;
}
