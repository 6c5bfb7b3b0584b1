// SPDX-License-Identifier: Apache-2.0
//
// The daemons' signal handlers. Most only tell that a signal came; SIGABRT and the fatal ones end the process, the
// latter after a report with a backtrace.
//
// A handler may have interrupted anything, so none uses standard output's stream: lines are written to its descriptor.
// What the process had buffered there would be lost at the end; a fatal handler flushes it first, as far as that can be
// done. Handlers are installed with every signal blocked and system calls restarted, and on the thread's own stack:
// when that is exhausted the kernel ends the process.

#include <execinfo.h>
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

#include "diag/debug_log.h"
#include "diag/guarded.h"
#include "diag/handler_output.h"
#include "vexora/diag.h"

namespace {

constexpr int kMostFrames = 100;
constexpr int kCrashStatus = 255;
constexpr int kNoBacktraceStatus = 1;
constexpr unsigned kCritical = 3;

constinit char moduleName[32] = "ZELMONITOR";

/// Keeps errno for the code that a handler interrupted, and holds off a cancellation of the thread: writing is a point
/// of cancellation, that code may hold a lock.
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

struct SignalLine {
  int signal;
  const char *line;
};

constexpr SignalLine kSignalLines[] = {
    {SIGTRAP, "  Received SIGTRAP\n"}, {SIGUSR1, "  Received SIGUSR1\n"},   {SIGUSR2, "  Received SIGUSR2\n"},
    {SIGPIPE, "  Received SIGPIPE\n"}, {SIGCONT, "  Received SIGCONT\n"},   {SIGTSTP, "  Received SIGTSTP\n"},
    {SIGTTIN, "  Received SIGTTIN\n"}, {SIGTTOU, "  Received SIGTTOU\n"},   {SIGURG, "  Received SIGURG\n"},
    {SIGXCPU, "  Received SIGXCPU\n"}, {SIGXFSZ, "  Received SIGXFSZ\n"},   {SIGVTALRM, "  Received SIGVTALRM\n"},
    {SIGPROF, "  Received SIGPROF\n"}, {SIGWINCH, "  Received SIGWINCH\n"}, {SIGIO, "  Received SIGIO\n"},
    {SIGPWR, "  Received SIGPWR\n"},   {SIGTERM, "  Received SIGTERM\n"},
};

void printReceived(int signal) {
  const Interruption interruption;
  for (const SignalLine &known : kSignalLines) {
    if (known.signal == signal) {
      vexora::writeFromHandler(known.line);
    }
  }
}

void ignore(int /*signal*/) {}

void onQuit(int /*signal*/) {
  const Interruption interruption;
  vexora::writeFromHandler("Received SIGQUIT\n");
  vexora::debugFromHandler(kCritical, moduleName, "Received SIGQUIT");
}

void flushStandardOutput(void * /*context*/) { static_cast<void>(std::fflush(stdout)); }

void printAbort(void * /*context*/) { vexora::writeFromHandler("  Received SIGABRT\n"); }

void onAbort(int /*signal*/) {
  vexora::becomeReporter(kCrashStatus);
  static_cast<void>(vexora::runGuarded(flushStandardOutput, nullptr));
  static_cast<void>(vexora::runGuarded(printAbort, nullptr));
  _exit(kCrashStatus);
}

/// What differs between the reports of the fatal signals: the wording has grown apart, and stays so.
struct FatalTexts {
  int signal;
  const char *name;
  bool namesModule;  // the last printed line names the daemon's module, or else a fixed one
  const char *endRecord;
};

constexpr FatalTexts kFatalTexts[] = {
    {SIGSEGV, "SIGSEGV", true, "  is terminating because of SIGSEGV !!!!!"},
    {SIGBUS, "SIGBUS", true, "VexoraMonitor is terminating because of SIGBUS !!!!!"},
    {SIGILL, "SIGILL", false, "  VexoraMonitor is terminating because of SIGILL !!!!!"},
};

// What the guarded steps of a report leave behind. One thread of a process reports.
struct Backtrace {
  std::array<void *, kMostFrames> frames;
  int depth;
  char **lines;
  std::array<char, 1024> line;
};

constinit Backtrace trace{};

void capture(void * /*context*/) { trace.depth = backtrace(trace.frames.data(), kMostFrames); }

void translate(void * /*context*/) { trace.lines = backtrace_symbols(trace.frames.data(), trace.depth); }

void exitNormally(void * /*context*/) {
  std::perror("backtrace_symbols");
  std::exit(kNoBacktraceStatus);  // NOLINT(concurrency-mt-unsafe): the exit handlers are to run, whoever else runs
}

void reportLine(void *context) {
  const char *const line = static_cast<const char *>(context);
  vexora::writeFromHandler(line);
  vexora::writeFromHandler("\n");
  vexora::debugFromHandler(kCritical, moduleName, "%s", line);
}

/// Translates the frame at `context` without the heap, by way of a pipe. The line is left as it is when that fails.
void translateOne(void *context) {
  int ends[2];
  if (pipe(ends) != 0) {
    return;
  }
  backtrace_symbols_fd(static_cast<void *const *>(context), 1, ends[1]);
  close(ends[1]);
  const ssize_t got = read(ends[0], trace.line.data(), trace.line.size() - 1);
  close(ends[0]);
  if (got > 0) {
    trace.line[static_cast<std::size_t>(got)] = '\0';
    trace.line[std::strcspn(trace.line.data(), "\n")] = '\0';
  }
}

void reportBacktrace() {
  static_cast<void>(vexora::runGuarded(capture, nullptr));
  if (vexora::runGuarded(translate, nullptr)) {
    if (trace.lines == nullptr) {
      static_cast<void>(vexora::runGuarded(exitNormally, nullptr));
      _exit(kNoBacktraceStatus);
    }
    for (int i = 0; i < trace.depth; ++i) {
      static_cast<void>(vexora::runGuarded(reportLine, trace.lines[i]));
    }
    return;
  }
  // The heap is locked or broken, as it is for the rest of the report: the lines stay where they are. Where frames
  // can't be translated this way either, their addresses are told.
  bool translates = true;
  for (int i = 0; i < trace.depth; ++i) {
    void **const frame = &trace.frames[static_cast<std::size_t>(i)];
    std::snprintf(trace.line.data(), trace.line.size(), "[%p]", *frame);
    translates = translates && vexora::runGuarded(translateOne, frame);
    static_cast<void>(vexora::runGuarded(reportLine, trace.line.data()));
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

void reportThreadOf(void *context) {
  const int signal = *static_cast<const int *>(context);
  for (const FatalTexts &texts : kFatalTexts) {
    if (texts.signal == signal) {
      reportThread(texts);
    }
  }
}

void onFatal(int signal) {
  vexora::becomeReporter(kCrashStatus);
  static_cast<void>(vexora::runGuarded(flushStandardOutput, nullptr));
  reportBacktrace();
  static_cast<void>(vexora::runGuarded(reportThreadOf, &signal));
  _exit(kCrashStatus);
}

struct Installation {
  int signal;
  void (*handler)(int);
};

constexpr Installation kInstallations[] = {
    {SIGQUIT, onQuit},         {SIGILL, onFatal},        {SIGTRAP, printReceived},   {SIGABRT, onAbort},
    {SIGBUS, onFatal},         {SIGFPE, ignore},         {SIGUSR1, printReceived},   {SIGSEGV, onFatal},
    {SIGUSR2, printReceived},  {SIGPIPE, printReceived}, {SIGCHLD, ignore},          {SIGCONT, printReceived},
    {SIGTSTP, printReceived},  {SIGTTIN, printReceived}, {SIGTTOU, printReceived},   {SIGURG, printReceived},
    {SIGXCPU, printReceived},  {SIGXFSZ, printReceived}, {SIGVTALRM, printReceived}, {SIGPROF, printReceived},
    {SIGWINCH, printReceived}, {SIGIO, printReceived},   {SIGPWR, printReceived},    {SIGTERM, printReceived},
};

/// Keeps the first `length` characters, as far as the name and the buffer go.
void setModuleName(const char *name, int length) {
  const std::size_t most = std::min<std::size_t>(sizeof moduleName - 1, static_cast<std::size_t>(std::max(length, 0)));
  const std::size_t kept = strnlen(name, most);
  std::memcpy(moduleName, name, kept);
  std::memset(moduleName + kept, 0, sizeof moduleName - kept);
}

/// Does once, outside any handler, what the first use would do: the backtrace loads a library, the log learns the time
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
  for (const Installation &installation : kInstallations) {
    static_cast<void>(InstallSignal(installation.signal, installation.handler));
  }
  return 0;
}
