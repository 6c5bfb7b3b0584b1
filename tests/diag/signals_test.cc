// SPDX-License-Identifier: Apache-2.0
// The signal handlers, in processes that really fault. The program interposes the C library's calls that a report uses:
// each of them can fail, fault or hang.
#include <execinfo.h>
#include <poll.h>
#include <sys/syscall.h>

#include <bit>

#include "support/test.h"
#include "vexora/diag.h"

#ifdef __arm__
// On ARM a function that throws nothing has no unwind table, and a backtrace ends at it.
#pragma GCC optimize("unwind-tables")
#endif

namespace vexora::test {
// A page without access rights.
static char *volatile nowhere = static_cast<char *>(mmap(nullptr, 1, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));

static void faultByAddress() { *nowhere = 1; }

// Outside the unnamed namespace, so that a backtrace shows its name.
__attribute__((noinline)) void faultBelow(int frames, void (*before)()) {
  if (frames > 0) {
    faultBelow(frames - 1, before);
  } else {
    before();
    faultByAddress();
  }
  __asm__ volatile("");
}

namespace {

constexpr int kCrashed = 255;
const std::string kRecord = "[Critical]:<2024-05-01T19:30:07>";  // local time
const std::string kAtExit = "exit handler\n";

// Called once, when the report reaches the function of that name.
using Trick = void (*)();
volatile Trick atCapture, atTranslation, atHeaplessTranslation, atFlush, atOutput;
volatile bool translates = true;
alignas(16) char *foreignLines[101];  // free() rejects the second element: it isn't aligned like a heap block
volatile bool linesAreForeign = false;
std::atomic<bool> reportRuns = false;
std::atomic<bool> someoneWaits = false;
int reluctance = 0;  // failures of the next writes
int writes = 0;
volatile bool tellsWaits = false;  // prints "waits" on standard error for a reader

// The kernel timer that ends a step of the report after a second. The syscall() below never starts it.
volatile long stepTimer = -1;

void breakpoint() {
#ifdef __arm__
  __asm__ volatile("bkpt");
#else
  __asm__ volatile("int3");
#endif
}

void play(volatile Trick &trick) {
  const Trick now = trick;
  trick = nullptr;
  if (now != nullptr) {
    now();
  }
}

void letTheSecondPass() {
  const long soon[] = {0, 0, 0, 1000000};
  if (original(&syscall, "syscall")(SYS_timer_settime, stepTimer, 0, soon, nullptr) != 0) {
    _exit(99);  // no step has made its timer
  }
}

void hang() {
  letTheSecondPass();
  for (;;) {
    pause();
  }
}

// Sends the signals that end a step as another process would, and alarms of the process's other timers. Only to this
// thread: an emulator that gets one in a thread of its own would end.
void straySignals() {
  constexpr pid_t kOther = 1;
  const pid_t process = getpid();
  const std::tuple<int, int, pid_t> origins[] = {
      {SIGABRT, SI_TKILL, kOther},  {SIGSEGV, SI_TKILL, kOther},   {SIGBUS, SI_TKILL, kOther},
      {SIGILL, SI_TKILL, kOther},   {SIGALRM, SI_TKILL, kOther},   {SIGFPE, SI_TKILL, kOther},
      {SIGTRAP, SI_TKILL, kOther},  {SIGABRT, SI_USER, kOther},    {SIGALRM, SI_USER, kOther},
      {SIGALRM, SI_TKILL, process}, {SIGALRM, SI_KERNEL, process}, {SIGALRM, SI_TIMER, process},
      {SIGSEGV, SI_USER, process},  {SIGABRT, SI_QUEUE, process}};
  for (const auto &[signal, code, sender] : origins) {
    siginfo_t stray = {};
    stray.si_signo = signal;
    stray.si_code = code;
    stray.si_pid = sender;
    syscall(SYS_rt_tgsigqueueinfo, process, syscall(SYS_gettid), signal, &stray);
  }
}

void faultInAForkedProcess() {
  const pid_t other = fork();
  if (other == 0) {
    prctl(PR_SET_NAME, "forked");
    faultByAddress();
  }
  waitpid(other, nullptr, 0);
}

void await(const std::atomic<bool> &moment) {
  while (!moment) {
    std::this_thread::yield();
  }
}

using Ending = std::pair<int, std::string>;  // status and output, standard error included

// The end of a process that has the handlers installed and runs `body`.
Ending endOf(const std::function<void()> &body) {
  Ending end;
  end.second = capturedOutput([&] {
    end.first = runInChild([&] {
      dup2(STDOUT_FILENO, STDERR_FILENO);
      std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
      std::atexit([] { EXPECT_GT(::write(STDOUT_FILENO, kAtExit.data(), kAtExit.size()), 0); });
      VexoraInitSignals("IPMI", 4);
      body();
    });
  });
  return end;
}

// Replaces standard output by a pipe. Returns the pipe's other end.
int outputIntoPipe() {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  dup2(ends[1], STDOUT_FILENO);
  close(ends[1]);
  return ends[0];
}

constexpr int kInOrder[] = {SIGQUIT, SIGILL,  SIGTRAP,   SIGABRT, SIGBUS,   SIGFPE,  SIGUSR1, SIGSEGV,
                            SIGUSR2, SIGPIPE, SIGCHLD,   SIGCONT, SIGTSTP,  SIGTTIN, SIGTTOU, SIGURG,
                            SIGXCPU, SIGXFSZ, SIGVTALRM, SIGPROF, SIGWINCH, SIGIO,   SIGPWR,  SIGTERM};

class Signals : public RootTest {
  FixedClock clock_{1714571107};
};

TEST_F(Signals, OthersPrintTheirLinesAndTheProcessGoesOn) {
  const auto raiseAll = [] {
    for (const int signal : kInOrder) {
      if (signal != SIGILL && signal != SIGABRT && signal != SIGBUS && signal != SIGSEGV) {
        const int before = writes;
        raise(signal);
        EXPECT_LE(writes, before + 1) << signal;
      }
    }
    reluctance = 3;
    sigurg();
  };
  std::string expected = "Received SIGQUIT\n";
  for (const char *name : {"TRAP", "USR1", "USR2", "PIPE", "CONT", "TSTP", "TTIN", "TTOU", "URG", "XCPU", "XFSZ",
                           "VTALRM", "PROF", "WINCH", "IO", "PWR", "TERM", "URG"}) {
    expected += std::string("  Received SIG") + name + "\n";
  }
  EXPECT_EQ(endOf(raiseAll), (Ending{0, expected + kAtExit}));
  switchLogOn("IPMI");
  setenv("TZ", "XST-05:45", 1);
  EXPECT_EQ(endOf([] { raise(SIGQUIT); }),
            (Ending{0, "Received SIGQUIT\n" + kRecord + "Received SIGQUIT\n\n" + kAtExit}));
  unsetenv("TZ");
}

TEST_F(Signals, HandlersBlockAllSignalsAndRestartSystemCalls) {
  inFreshProcess([] {
    struct sigaction installed = {};
    constexpr int kOthers[] = {SIGHUP, SIGINT, SIGALRM, SIGSYS};
    for (const int other : kOthers) {
      signal(other, SIG_DFL);  // the tests' parent may ignore some of them
    }
    static bool primed = false;
    atCapture = [] { primed = true; };
    EXPECT_EQ(VexoraInitSignals("IPMI", 4), 0);
    EXPECT_TRUE(primed) << "the first backtrace loads a library";
    constexpr int kRestorer = 0x04000000;  // the C library sets it
    for (const int signal : kInOrder) {
      sigaction(signal, nullptr, &installed);
      EXPECT_NE(installed.sa_handler, SIG_DFL) << signal;
      EXPECT_EQ(installed.sa_handler == reinterpret_cast<void (*)(int)>(&sigurg), signal == SIGURG) << signal;
      EXPECT_EQ(installed.sa_flags & ~kRestorer, SA_RESTART) << signal;
      for (int blocked = 1; blocked <= SIGSYS; ++blocked) {
        // An emulator may leave out SIGKILL and SIGSTOP, which nobody can block.
        EXPECT_TRUE(sigismember(&installed.sa_mask, blocked) == 1 || blocked == SIGKILL || blocked == SIGSTOP)
            << blocked << " in " << signal;
      }
    }
    for (const int other : kOthers) {
      sigaction(other, nullptr, &installed);
      EXPECT_EQ(installed.sa_handler, SIG_DFL) << other;
    }
  });
}

TEST_F(Signals, RefusedHandlersAndNullNamesAreReported) {
  signal(SIGTERM, SIG_DFL);
  EXPECT_EQ(capturedOutput([] {
              EXPECT_EQ(InstallSignal(SIGKILL, SIG_DFL), 0);
              EXPECT_EQ(VexoraInitSignals(nullptr, 4), -1);
            }),
            "Cannot catch signal SigNum 9\nVexoraInitSignals==DebugModuleName NULL,So exit\n");
  EXPECT_EQ(signal(SIGTERM, SIG_DFL), SIG_DFL) << "nothing is installed";
}

TEST_F(Signals, NameKeepsTheAskedLengthUpTo31Characters) {
  const std::string forty = "abcdefghijklmnopqrstuvwxyz0123456789ABCD";
  const std::tuple<std::string, int, std::string> rows[] = {
      {"IPMI", 2, "IP"}, {"IPMI", -1, ""}, {"IPMI", 31, "IPMI"}, {forty, 40, forty.substr(0, 31)}};
  for (const auto &[name, length, kept] : rows) {
    const Ending end = endOf([&, &given = name, most = length] {
      VexoraInitSignals(forty.c_str(), 31);
      EXPECT_EQ(VexoraInitSignals(given.c_str(), most), 0);
      raise(SIGBUS);
    });
    EXPECT_TRUE(end.second.ends_with("\n  " + kept + " is terminating because of SIGBUS !!!!!\n")) << length;
  }
}

// The end of a process that has changed its time zone and crashes in a thread named worker. The thread's id is printed
// before the crash, but not flushed.
Ending endOfWorker(void (*before)()) {
  return endOf([before] {
    setenv("TZ", "XST-05:45", 1);
    std::thread([before] {
      prctl(PR_SET_NAME, "worker");
      std::printf("%ld\n", syscall(SYS_gettid));
      faultBelow(1, before);
    }).join();
  });
}

TEST_F(Signals, FatalOnesReportTheThreadAndItsBacktrace) {
  // The last two are printed and logged before the common text.
  const std::tuple<void (*)(), std::string, std::string, std::string> rows[] = {
      {faultByAddress, "SIGSEGV", "  IPMI", " "},
      {[] { raise(SIGBUS); }, "SIGBUS", "  IPMI", "VexoraMonitor"},
      {[] { raise(SIGILL); }, "SIGILL", "  VexoraMonitor", "  VexoraMonitor"}};
  // After the thread's id the backtrace's lines, which depend on the build. The log has each line after its print.
  for (const std::string record : {"", "\\[Critical\\]:<2024-05-01T19:30:07>\\2\n\n"}) {
    const std::regex pattern("([0-9]+)\n(?:([^ ].*)\n" + record + ")+");
    for (const auto &[fault, signal, printed, logged] : rows) {
      const auto [status, output] = endOfWorker(fault);
      SCOPED_TRACE(signal + "\n" + output);
      EXPECT_EQ(status, kCrashed);
      std::smatch backtrace;
      ASSERT_TRUE(std::regex_search(output, backtrace, pattern, std::regex_constants::match_continuous));
      const std::string thread = "  Thread " + backtrace.str(1) + " (worker) received " + signal + "\n";
      const std::string end = " is terminating because of " + signal + " !!!!!\n";
      EXPECT_EQ(
          backtrace.suffix().str(),
          thread + printed + end + (record.empty() ? "" : kRecord + thread + "\n" + kRecord + logged + end + "\n"));
      const std::string frames = backtrace.str();
      const std::size_t library = frames.find("libvexora_software_interface.so.1");
      EXPECT_NE(frames.find("faultBelow", library), std::string::npos);
    }
    switchLogOn("IPMI");
  }
}

TEST_F(Signals, WhatWasBufferedComesOutBeforeTheEnd) {
  const std::string untranslated = "backtrace_symbols: Cannot allocate memory\n";
  const std::pair<Trick, Ending> rows[] = {{std::abort, {kCrashed, "  Received SIGABRT\n"}},
                                           {[] { translates = false; }, {1, untranslated + kAtExit}},
                                           {[] { translates = std::atexit(hang) != 0; }, {1, untranslated}}};
  for (const auto &[before, end] : rows) {
    EXPECT_EQ(endOf([&, &prepare = before] {
                std::printf("buffered\n");
                faultBelow(0, prepare);
              }),
              (Ending{end.first, "buffered\n" + end.second}));
  }
}

// The report waits in its translation for the second crash.
void faultWhileAnother(void (*crashes)()) {
  atTranslation = [] {
    reportRuns = true;
    await(someoneWaits);
  };
  const std::thread other([=] { await(reportRuns), crashes(); });
  faultByAddress();
}

void hangInTranslation() {
  atTranslation = hang;
  atHeaplessTranslation = hang;
}

void faultWithAnotherPending() {
  sigset_t both;
  sigemptyset(&both);
  sigaddset(&both, SIGSEGV);
  sigaddset(&both, SIGABRT);
  pthread_sigmask(SIG_BLOCK, &both, nullptr);
  raise(SIGABRT);
  raise(SIGSEGV);  // delivered first, as faults cause it
  pthread_sigmask(SIG_UNBLOCK, &both, nullptr);
}

TEST_F(Signals, ReportComesOutWhateverTheFaultInterrupted) {
  const std::tuple<const char *, void (*)(), std::string> rows[] = {
      {"inside printf", [] { std::printf("%s", nowhere); }, ""},
#ifndef __SANITIZE_THREAD__  // it delays the alarm while the thread waits inside the C library
      {"standard output locked by another thread",
       [] { atFlush = letTheSecondPass, std::thread([] { flockfile(stdout); }).join(); }, "faultBelow"},
#endif
      {"two at once", [] { faultWhileAnother(faultByAddress); }, "faultBelow"},
      {"another aborts", [] { faultWhileAnother(std::abort); }, "faultBelow"},
      {"two pending", faultWithAnotherPending, ""},
      {"thread cancelled", [] { pthread_cancel(pthread_self()); }, "faultBelow"},
      {"capture faults", [] { atCapture = faultByAddress; }, ""},
      {"capture meets a breakpoint", [] { atCapture = breakpoint; }, ""},
      {"new handlers", [] { atCapture = [] { VexoraInitSignals("IPMI", 4), faultByAddress(); }; }, ""},
      {"stray signals", [] { atCapture = straySignals; }, "faultBelow"},
      {"fork", [] { atOutput = faultInAForkedProcess; }, "(forked) received SIGSEGV\n  IPMI is"},
      {"broken heap found", [] { atTranslation = std::abort; }, "faultBelow"},
#ifndef VEXORA_SANITIZED
      {"broken heap found after the lines", [] { linesAreForeign = true; }, "free(): invalid pointer"},
#endif
      {"translation hangs", hangInTranslation, "\n[0x"},
  };
  switchLogOn("IPMI");
  for (const auto &[what, before, shown] : rows) {
    const auto [status, output] = endOfWorker(before);
    SCOPED_TRACE(std::string(what) + "\n" + output);
    EXPECT_EQ(status, kCrashed);
    EXPECT_NE(output.find(shown), std::string::npos);
    const std::string ending =
        " (worker) received SIGSEGV\n  IPMI is terminating because of SIGSEGV !!!!!\n" + kRecord + "  Thread ";
    EXPECT_NE(output.find(ending), std::string::npos);
    EXPECT_EQ(output.find(ending), output.rfind(ending));
    EXPECT_TRUE(output.ends_with("\n" + kRecord + "  is terminating because of SIGSEGV !!!!!\n\n"));
  }
}

#ifndef __SANITIZE_THREAD__  // as above, while a write waits
TEST_F(Signals, CrashEndsTheProcessThoughNobodyReads) {
  switchLogOn("IPMI");
  const auto crashAtFullPipe = [](int signal) {
    fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
    while (::write(STDOUT_FILENO, std::string(4096, '~').data(), 4096) > 0) {
    }
    fcntl(STDOUT_FILENO, F_SETFL, 0);
    raise(signal);
  };
  const std::function<void()> crashes[] = {[&] { crashAtFullPipe(SIGSEGV); }, [&] { crashAtFullPipe(SIGABRT); },
                                           [] { atOutput = hang, raise(SIGSEGV); }};
  for (const auto &crash : crashes) {
    SCOPED_TRACE(&crash - crashes);
    const Ending end = endOf([&] {
      outputIntoPipe();
      std::printf(".");
      atFlush = letTheSecondPass;
      tellsWaits = true;
      crash();
    });
    EXPECT_EQ(end, (Ending{kCrashed, "waits\n"})) << "from then on nothing is written";
  }
}
#endif

TEST_F(Signals, ReportWakesNoOtherThread) {
  const Ending end = endOf([] {
    const std::thread crashing(faultBelow, 0, hangInTranslation);
    pause();
    _exit(0);
  });
  EXPECT_EQ(end.first, kCrashed) << end.second;
}

TEST_F(Signals, BacktraceEndsAfter100Frames) {
  const std::string output = endOf([] { faultBelow(200, [] {}); }).second;
  EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 100 + 2) << output;
}

TEST_F(Signals, LineThatNobodyReadsIsLostAndNothingElse) {
  const Ending end = endOf([] {
    static int broken = 0, state = -1;
    InstallSignal(SIGPIPE, [](int) { ++broken; });
    close(outputIntoPipe());
    errno = ENOTTY;
    raise(SIGUSR1);
    close(STDOUT_FILENO);
    raise(SIGUSR1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(broken, 0);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    std::thread([] {
      pthread_cancel(pthread_self());
      raise(SIGUSR1);
      pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    }).join();
    EXPECT_EQ(state, PTHREAD_CANCEL_ENABLE) << "-1: cancelled inside the handler";
  });
  EXPECT_EQ(end, (Ending{0, "  Received SIGUSR1\n" + kAtExit}));
}

}  // namespace

extern "C" {

#ifdef __SANITIZE_THREAD__
// A crash report makes calls that are unsafe in a signal handler; it is protected against their failure.
const char *__tsan_default_options() { return "report_signal_unsafe=0:atexit_sleep_ms=0"; }
#endif

int backtrace(void **array, int size) {
  play(atCapture);
  return original(&backtrace, "backtrace")(array, size);
}

char **backtrace_symbols(void *const *array, int size) noexcept {
  play(atTranslation);
  if (!translates) {
    errno = ENOMEM;
    return nullptr;
  }
  char **const lines = original(&backtrace_symbols, "backtrace_symbols")(array, size);
  return linesAreForeign ? std::copy_n(lines, size, foreignLines + 1) - size : lines;
}

void backtrace_symbols_fd(void *const *array, int size, int fd) noexcept {
  play(atHeaplessTranslation);
  if (fcntl(fd, F_GETFD) == FD_CLOEXEC) {  // a child must not inherit the pipe
    original(&backtrace_symbols_fd, "backtrace_symbols_fd")(array, size, fd);
  }
}

int fflush(std::FILE *file) {
  play(atFlush);
  return original(&fflush, "fflush")(file);
}

int poll(pollfd *descriptors, nfds_t count, int timeout) {
  if (tellsWaits) {
    original(&::write, "write")(STDERR_FILENO, "waits\n", 6);
  }
  play(atOutput);
  return original(&poll, "poll")(descriptors, count, timeout == 1000 ? 0 : timeout);
}

ssize_t write(int fd, const void *data, std::size_t size) {
  static auto *const real = original(&::write, "write");
  ++writes;
  const int step = std::exchange(reluctance, std::max(reluctance - 1, 0));
  errno = step == 3 ? EAGAIN : step == 2 ? EINTR : errno;
  return step > 1 ? -1 : real(fd, data, step == 1 ? 3 : size);
}

int pause() {
  someoneWaits = true;
  return original(&pause, "pause")();
}

// Doesn't start a timer of one second, and notes it; all other calls go to the kernel.
long syscall(long number, ...) noexcept {
  std::va_list more;
  va_start(more, number);
  long arguments[5];
  for (long &argument : arguments) {
    argument = va_arg(more, long);
  }
  va_end(more);
  if (number == SYS_timer_settime && std::bit_cast<const long *>(arguments[2])[2] == 1) {
    stepTimer = arguments[0];
    return 0;
  }
  return original(&syscall, "syscall")(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4]);
}
}
}  // namespace vexora::test
