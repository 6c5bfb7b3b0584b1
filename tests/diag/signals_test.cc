// SPDX-License-Identifier: Apache-2.0
// The signal handlers, in processes of their own that really fault. The program stands between the library and
// the calls of the C library that a report stands on, and can have each of them fail, fault or hang.
#include <execinfo.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <latch>
#include <regex>
#include <thread>

#include "support/files.h"
#include "support/platform.h"
#include "support/process.h"
#include "vexora/diag.h"

#ifdef __arm__
// A function that throws nothing has no unwind table there, and a backtrace ends at it.
#pragma GCC optimize("unwind-tables")
#endif

namespace vexora::test {
namespace {

constexpr int kCrashed = 255;
const std::string kRecord = "[Critical]:<2024-05-01T13:45:07>";
const std::string kAtExit = "exit handler\n";
const std::string kLibrary = "libvexora_software_interface.so.1";

using Trick = void (*)();
volatile Trick atCapture = nullptr;
volatile Trick atTranslation = nullptr;
volatile Trick atHeaplessTranslation = nullptr;
volatile Trick atFlush = nullptr;
volatile Trick atOutput = nullptr;
volatile bool translates = true;
alignas(16) char *foreignLines[101];  // the second on isn't aligned as a block of the heap is
volatile bool linesAreForeign = false;
std::atomic<bool> reportRuns = false;
std::atomic<bool> someoneWaits = false;
volatile int reluctance = 0;  // of the next writes
volatile int writes = 0;
// Waits for a reader, counted across processes.
volatile int *const waits =
    static_cast<int *>(mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

// The timer that ends a step after a second, which never passes by itself.
volatile long stepTimer = -1;

// A page that nobody may touch.
char *volatile nowhere = static_cast<char *>(mmap(nullptr, 1, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));

void faultByAddress() { *nowhere = 1; }

void faultByMissingPage() {
  std::FILE *empty = std::tmpfile();
  void *page = mmap(nullptr, 1, PROT_READ | PROT_WRITE, MAP_SHARED, fileno(empty), 0);
  *static_cast<volatile char *>(page) = 1;
}

void faultByInstruction() {
#ifdef __arm__
  __asm__ volatile(".word 0xe7f000f0");
#else
  __asm__ volatile("ud2");
#endif
}

void breakpoint() {
#ifdef __arm__
  __asm__ volatile("bkpt");
#else
  __asm__ volatile("int3");
#endif
}

void play(volatile Trick &trick) {
  if (trick != nullptr) {
    trick();
  }
}

void playOnce(volatile Trick &trick) {
  const Trick now = trick;
  trick = nullptr;
  if (now != nullptr) {
    now();
  }
}

void letTheSecondPass() {
  const long soon[] = {0, 0, 0, 1000000};
  if (original(&syscall, "syscall")(SYS_timer_settime, stepTimer, 0, soon, nullptr) != 0) {
    _exit(99);  // no step asked for a second
  }
}

void hang() {
  letTheSecondPass();
  for (;;) {
    pause();
  }
}

// The signals that end a step, from a process that has nothing to do with it. Those that faults cause go to the thread
// alone: they would end an emulator that gets them in a thread of its own.
void signalFromElsewhere() {
  const pid_t process = getpid();
  const long thread = syscall(SYS_gettid);
  const pid_t other = fork();
  if (other == 0) {
    for (const int signal : {SIGABRT, SIGSEGV, SIGBUS, SIGILL, SIGALRM, SIGFPE, SIGTRAP}) {
      syscall(SYS_tgkill, process, thread, signal);
    }
    kill(process, SIGABRT);
    kill(process, SIGALRM);
    _exit(0);
  }
  waitpid(other, nullptr, 0);
}

// The same and the alarms of the process's other timers, as the thread sees them.
void straySignals() {
  const std::pair<int, int> origins[] = {
      {SIGALRM, SI_KERNEL}, {SIGALRM, SI_TIMER}, {SIGSEGV, SI_USER}, {SIGABRT, SI_QUEUE}};
  for (const auto &[signal, code] : origins) {
    siginfo_t stray = {};
    stray.si_signo = signal;
    stray.si_code = code;
    stray.si_pid = getpid();
    syscall(SYS_rt_tgsigqueueinfo, getpid(), syscall(SYS_gettid), signal, &stray);
  }
  raise(SIGALRM);
}

void faultInAForkedProcess() {
  const pid_t other = fork();
  if (other == 0) {
    prctl(PR_SET_NAME, "forked");
    faultByAddress();
  }
  waitpid(other, nullptr, 0);
}

void awaitAnother() {
  while (!someoneWaits) {
    std::this_thread::yield();
  }
}

struct Ending {
  int status;
  std::string output;  // standard error, too

  bool operator==(const Ending &) const = default;
};

// What becomes of a process with the handlers installed, and its output.
Ending endOf(const std::function<void()> &body) {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  const int status = runInChild([&] {
    dup2(ends[1], STDOUT_FILENO);
    dup2(ends[1], STDERR_FILENO);
    std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
    std::atexit([] { EXPECT_GT(::write(STDOUT_FILENO, kAtExit.data(), kAtExit.size()), 0); });
    VexoraInitSignals("IPMI", 4);
    body();
  });
  close(ends[1]);
  std::string output(1 << 20, '\0');
  output.resize(static_cast<std::size_t>(::read(ends[0], output.data(), output.size())));
  close(ends[0]);
  return {status, output};
}

// Leaves no room in the pipe behind standard output.
[[maybe_unused]] void fillOutput() {
  fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
  while (::write(STDOUT_FILENO, std::string(4096, '.').data(), 4096) > 0) {
  }
  fcntl(STDOUT_FILENO, F_SETFL, 0);
}

constexpr int kInOrder[] = {SIGQUIT, SIGILL,  SIGTRAP,   SIGABRT, SIGBUS,   SIGFPE,  SIGUSR1, SIGSEGV,
                            SIGUSR2, SIGPIPE, SIGCHLD,   SIGCONT, SIGTSTP,  SIGTTIN, SIGTTOU, SIGURG,
                            SIGXCPU, SIGXFSZ, SIGVTALRM, SIGPROF, SIGWINCH, SIGIO,   SIGPWR,  SIGTERM};

class Signals : public RootTest {
 protected:
  static void switchLogOn() {
    for (const char *marker : {"LEVEL_CRITICAL", "PATH_SERIAL", "ENABLE_IPMI"}) {
      touch(std::string("/conf/vexora_debug/") + marker);
    }
  }

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
  switchLogOn();
  setenv("TZ", "XST-05:45", 1);
  EXPECT_EQ(endOf([] { raise(SIGQUIT); }),
            (Ending{0, "Received SIGQUIT\n[Critical]:<2024-05-01T19:30:07>Received SIGQUIT\n\n" + kAtExit}));
  unsetenv("TZ");
}

TEST_F(Signals, HandlersBlockAllSignalsAndRestartSystemCalls) {
  inFreshProcess([] {
    struct sigaction installed = {};
    constexpr int kOthers[] = {SIGHUP, SIGINT, SIGALRM, SIGSYS};
    for (const int other : kOthers) {
      signal(other, SIG_DFL);  // the tests may have been started with some of them ignored
    }
    static bool primed = false;
    atCapture = [] { primed = true; };
    EXPECT_EQ(VexoraInitSignals("IPMI", 4), 0);
    EXPECT_TRUE(primed) << "the first backtrace loads a library";
    constexpr int kRestorer = 0x04000000;  // the C library's own
    for (const int signal : kInOrder) {
      sigaction(signal, nullptr, &installed);
      EXPECT_NE(installed.sa_handler, SIG_DFL) << signal;
      EXPECT_EQ(installed.sa_handler == reinterpret_cast<void (*)(int)>(&sigurg), signal == SIGURG) << signal;
      EXPECT_EQ(installed.sa_flags & ~kRestorer, SA_RESTART) << signal;
      for (int blocked = 1; blocked <= SIGSYS; ++blocked) {
        // Whether the two that nobody can block stand in the mask is told differently under emulation.
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

TEST_F(Signals, RefusedHandlersAndNullNamesAreTold) {
  EXPECT_EQ(capturedOutput([] { EXPECT_EQ(InstallSignal(SIGKILL, SIG_DFL), 0); }), "Cannot catch signal SigNum 9\n");
  EXPECT_EQ(capturedOutput([] {
              EXPECT_EQ(runInChild([] {
                          EXPECT_EQ(VexoraInitSignals(nullptr, 4), -1);
                          std::fflush(stdout);
                          raise(SIGTERM);
                        }),
                        128 + SIGTERM);
            }),
            "VexoraInitSignals==DebugModuleName NULL,So exit\n");
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
    EXPECT_TRUE(end.output.ends_with("\n  " + kept + " is terminating because of SIGBUS !!!!!\n")) << length;
  }
}

TEST_F(Signals, AbortEndsTheProcessAfterWhatItHadBuffered) {
  const Ending end = endOf([] {
    std::printf("buffered\n");
    std::abort();
  });
  EXPECT_EQ(end, (Ending{kCrashed, "buffered\n  Received SIGABRT\n"}));
}

}  // namespace

// Not of the unnamed namespace, so that a backtrace shows its name.
__attribute__((noinline)) void faultingFunction(void (*fault)()) {
  fault();
  __asm__ volatile("");
}

__attribute__((noinline)) void callingFunction(void (*fault)()) {
  faultingFunction(fault);
  __asm__ volatile("");
}

namespace {

// Crashes in a thread named worker, whose id is printed before, but not flushed.
void crashInWorker(void (*fault)()) {
  std::thread([fault] {
    prctl(PR_SET_NAME, "worker");
    std::printf("%ld\n", syscall(SYS_gettid));
    callingFunction(fault);
  }).join();
}

struct FatalRow {
  void (*fault)();
  std::string signal, ending, endRecord;
};

const FatalRow kFatal[] = {
    {faultByAddress, "SIGSEGV", "  IPMI is terminating because of SIGSEGV !!!!!\n",
     "  is terminating because of SIGSEGV !!!!!\n\n"},
    {faultByMissingPage, "SIGBUS", "  IPMI is terminating because of SIGBUS !!!!!\n",
     "VexoraMonitor is terminating because of SIGBUS !!!!!\n\n"},
    {faultByInstruction, "SIGILL", "  VexoraMonitor is terminating because of SIGILL !!!!!\n",
     "  VexoraMonitor is terminating because of SIGILL !!!!!\n\n"},
};

// The thread's id, then the backtrace's lines, which depend on the build and of which each is logged behind itself.
const std::regex kBacktrace("([0-9]+)\n(?:([^ ].*)\n)+");
const std::regex kLoggedBacktrace("([0-9]+)\n(?:([^ ].*)\n\\[Critical\\]:<2024-05-01T13:45:07>\\2\n\n)+");

void expectReport(const Ending &end, const FatalRow &row, bool logged) {
  SCOPED_TRACE(row.signal + "\n" + end.output);
  EXPECT_EQ(end.status, kCrashed);
  std::smatch backtrace;
  ASSERT_TRUE(std::regex_search(end.output, backtrace, logged ? kLoggedBacktrace : kBacktrace,
                                std::regex_constants::match_continuous));
  const std::string thread = "  Thread " + backtrace.str(1) + " (worker) received " + row.signal + "\n";
  EXPECT_EQ(backtrace.suffix().str(),
            thread + row.ending + (logged ? kRecord + thread + "\n" + kRecord + row.endRecord : ""));
  const std::string frames = backtrace.str();
  const std::size_t faulting = frames.find("faultingFunction");
  const std::size_t calling = frames.find("callingFunction");
  EXPECT_LT(frames.find(kLibrary), faulting);
  EXPECT_LT(faulting, calling);
  EXPECT_NE(calling, std::string::npos);
}

TEST_F(Signals, FatalOnesReportTheThreadAndItsBacktrace) {
  for (const bool logged : {false, true}) {
    for (const FatalRow &row : kFatal) {
      expectReport(endOf([&] { crashInWorker(row.fault); }), row, logged);
    }
    switchLogOn();
  }
}

TEST_F(Signals, FailedTranslationExitsNormally) {
  const Ending end = endOf([&] {
    translates = false;
    std::printf("buffered\n");
    faultByAddress();
  });
  EXPECT_EQ(end, (Ending{1, "buffered\nbacktrace_symbols: Cannot allocate memory\n" + kAtExit}));
  const Ending hanging = endOf([&] {
    translates = false;
    std::atexit(hang);
    faultByAddress();
  });
  EXPECT_EQ(hanging, (Ending{1, "backtrace_symbols: Cannot allocate memory\n"}));
}

#ifndef __SANITIZE_THREAD__  // it keeps the alarm back while the thread waits inside the C library
void faultWhileOutputIsHeld() {
  std::latch held(1);
  const std::thread holder([&] {
    flockfile(stdout);
    held.count_down();
    for (;;) {
      pause();
    }
  });
  held.wait();
  atFlush = letTheSecondPass;
  faultByAddress();
}
#endif

// The first report waits in its translation for the second crash.
void faultInTwoThreads() {
  atTranslation = awaitAnother;
  std::latch both(2);
  const std::thread other([&] {
    both.arrive_and_wait();
    nowhere[1] = 1;
  });
  both.arrive_and_wait();
  nowhere[2] = 1;
}

void faultWhileAnotherAborts() {
  atTranslation = [] { reportRuns = true, awaitAnother(); };
  const std::thread other([] {
    while (!reportRuns) {
      std::this_thread::yield();
    }
    std::abort();
  });
  faultByAddress();
}

void hangInTranslation() {
  atTranslation = hang;
  atHeaplessTranslation = hang;
  faultByAddress();
}

void faultWithAnotherPending() {
  sigset_t both;
  sigemptyset(&both);
  sigaddset(&both, SIGSEGV);
  sigaddset(&both, SIGABRT);
  pthread_sigmask(SIG_BLOCK, &both, nullptr);
  raise(SIGABRT);
  raise(SIGSEGV);  // comes first, as one that faults cause
  pthread_sigmask(SIG_UNBLOCK, &both, nullptr);
}

TEST_F(Signals, ReportComesOutWhateverTheFaultInterrupted) {
  const struct {
    const char *what;
    void (*fault)();
    std::string shown;
  } rows[] = {
      {"inside printf", [] { std::printf("%s", nowhere); }, ""},
#ifndef __SANITIZE_THREAD__
      {"standard output locked by another thread", faultWhileOutputIsHeld, "faultingFunction"},
#endif
      {"two at once", faultInTwoThreads, ""},
      {"another aborts", faultWhileAnotherAborts, "faultingFunction"},
      {"two pending", faultWithAnotherPending, ""},
      {"thread cancelled", [] { pthread_cancel(pthread_self()), faultByAddress(); }, "faultingFunction"},
      {"capture faults", [] { atCapture = faultByAddress, faultByAddress(); }, ""},
      {"capture meets a breakpoint", [] { atCapture = breakpoint, faultByAddress(); }, ""},
      {"capture faults in new handlers",
       [] {
         atCapture = [] { VexoraInitSignals("IPMI", 4), faultByAddress(); };
         faultByAddress();
       },
       ""},
      {"signals of another process", [] { atCapture = signalFromElsewhere, faultByAddress(); }, "faultingFunction"},
      {"stray signals", [] { atCapture = straySignals, faultByAddress(); }, "faultingFunction"},
      {"fork", [] { atOutput = faultInAForkedProcess, faultByAddress(); }, "(forked) received SIGSEGV\n  IPMI is"},
      {"broken heap found", [] { atTranslation = std::abort, faultByAddress(); }, "faultingFunction"},
#ifndef VEXORA_SANITIZED
      {"broken heap found after the lines", [] { linesAreForeign = true, faultByAddress(); },
       "free(): invalid pointer"},
#endif
      {"translation hangs", hangInTranslation, "\n[0x"},
  };
  switchLogOn();
  for (const auto &row : rows) {
    const Ending end = endOf([&] { crashInWorker(row.fault); });
    SCOPED_TRACE(std::string(row.what) + "\n" + end.output);
    EXPECT_EQ(end.status, kCrashed);
    EXPECT_NE(end.output.find(row.shown), std::string::npos);
    const std::string ending =
        " (worker) received SIGSEGV\n  IPMI is terminating because of SIGSEGV !!!!!\n" + kRecord + "  Thread ";
    EXPECT_NE(end.output.find(ending), std::string::npos);
    EXPECT_EQ(end.output.find(ending), end.output.rfind(ending));
    EXPECT_TRUE(end.output.ends_with("\n" + kRecord + "  is terminating because of SIGSEGV !!!!!\n\n"));
  }
}

#ifndef __SANITIZE_THREAD__  // as above, while a write waits
TEST_F(Signals, CrashEndsTheProcessThoughNobodyReads) {
  switchLogOn();
  const Trick crashes[] = {[] { fillOutput(), raise(SIGSEGV); }, [] { fillOutput(), raise(SIGABRT); },
                           [] { atOutput = hang, raise(SIGSEGV); }};
  for (const Trick &crash : crashes) {
    SCOPED_TRACE(&crash - crashes);
    *waits = 0;
    const Ending end = endOf([&] {
      std::printf(".");
      atFlush = letTheSecondPass;
      crash();
    });
    EXPECT_EQ(end.status, kCrashed);
    EXPECT_EQ(end.output.find_first_not_of('.'), std::string::npos);
    EXPECT_EQ(*waits, 1) << "from then on nothing is written";
  }
}
#endif

TEST_F(Signals, ReportWakesNoOtherThread) {
  const Ending end = endOf([] {
    const std::thread crashing(hangInTranslation);
    pause();
    _exit(0);
  });
  EXPECT_EQ(end.status, kCrashed) << end.output;
}

TEST_F(Signals, ReportShowsTheTimeZoneOfNow) {
  switchLogOn();
  const Ending end = endOf([] {
    setenv("TZ", "XST-05:45", 1);
    faultByAddress();
  });
  EXPECT_NE(end.output.find("[Critical]:<2024-05-01T19:30:07>"), std::string::npos) << end.output;
  EXPECT_EQ(end.output.find(kRecord), std::string::npos) << end.output;
}

__attribute__((noinline)) void faultBelow(int frames) {
  if (frames > 0) {
    faultBelow(frames - 1);
  } else {
    faultByAddress();
  }
  __asm__ volatile("");
}

TEST_F(Signals, BacktraceEndsAfter100Frames) {
  const Ending end = endOf([] { faultBelow(200); });
  EXPECT_EQ(std::count(end.output.begin(), end.output.end(), '\n'), 100 + 2) << end.output;
}

TEST_F(Signals, LineThatNobodyReadsIsLostAndNothingElse) {
  inFreshProcess([] {
    static int broken = 0;
    const int saved = dup(STDOUT_FILENO);
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    close(ends[0]);
    VexoraInitSignals("IPMI", 4);
    InstallSignal(SIGPIPE, [](int) { ++broken; });
    dup2(ends[1], STDOUT_FILENO);
    errno = ENOTTY;
    raise(SIGUSR1);
    close(STDOUT_FILENO);
    raise(SIGUSR1);
    const int after = errno;
    dup2(saved, STDOUT_FILENO);
    EXPECT_EQ(after, ENOTTY);
    EXPECT_EQ(broken, 0);
    static int state = -1;
    std::thread([] {
      pthread_cancel(pthread_self());
      raise(SIGUSR1);
      pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    }).join();
    EXPECT_EQ(state, PTHREAD_CANCEL_ENABLE) << "-1: cancelled inside the handler";
  });
}

}  // namespace
}  // namespace vexora::test

using vexora::test::original;
using vexora::test::play;
using vexora::test::playOnce;

extern "C" {

#ifdef __SANITIZE_THREAD__
// A crash report does in a signal handler what is not safe there, under guard.
const char *__tsan_default_options() { return "report_signal_unsafe=0:atexit_sleep_ms=0"; }
#endif

int backtrace(void **array, int size) {
  playOnce(vexora::test::atCapture);
  return original(&backtrace, "backtrace")(array, size);
}

char **backtrace_symbols(void *const *array, int size) noexcept {
  play(vexora::test::atTranslation);
  if (!vexora::test::translates) {
    errno = ENOMEM;
    return nullptr;
  }
  char **const lines = original(&backtrace_symbols, "backtrace_symbols")(array, size);
  return vexora::test::linesAreForeign ? std::copy_n(lines, size, vexora::test::foreignLines + 1) - size : lines;
}

void backtrace_symbols_fd(void *const *array, int size, int fd) noexcept {
  play(vexora::test::atHeaplessTranslation);
  if (fcntl(fd, F_GETFD) == FD_CLOEXEC) {  // no child may keep the pipe open
    original(&backtrace_symbols_fd, "backtrace_symbols_fd")(array, size, fd);
  }
}

int fflush(std::FILE *file) {
  playOnce(vexora::test::atFlush);
  return original(&fflush, "fflush")(file);
}

int poll(pollfd *descriptors, nfds_t count, int timeout) {
  *vexora::test::waits = *vexora::test::waits + 1;
  playOnce(vexora::test::atOutput);
  return original(&poll, "poll")(descriptors, count, timeout == 1000 ? 0 : timeout);
}

ssize_t write(int fd, const void *data, std::size_t size) {
  static auto *const real = original(&write, "write");
  vexora::test::writes = vexora::test::writes + 1;
  if (vexora::test::reluctance == 0) {
    return real(fd, data, size);
  }
  vexora::test::reluctance = vexora::test::reluctance - 1;
  errno = vexora::test::reluctance == 2 ? EAGAIN : EINTR;
  return vexora::test::reluctance == 0 ? real(fd, data, 3) : -1;
}

int pause() {
  vexora::test::someoneWaits = true;
  return original(&pause, "pause")();
}

// The second of a step is held; whatever else is asked for, goes on to the kernel.
long syscall(long number, ...) noexcept {
  std::va_list more;
  va_start(more, number);
  long arguments[5];
  for (long &argument : arguments) {
    argument = va_arg(more, long);
  }
  va_end(more);
  if (number == SYS_timer_settime && std::bit_cast<const long *>(arguments[2])[2] == 1) {
    vexora::test::stepTimer = arguments[0];
    return 0;
  }
  return original(&syscall, "syscall")(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4]);
}
}
