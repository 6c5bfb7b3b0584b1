/* SPDX-License-Identifier: Apache-2.0 */
/** Diagnostics and process support: the debug log, the watchdog log, interruption-safe descriptor calls, sleeps,
 *  recursive locks, a retry counter, bit fields and signal handlers. */
#ifndef VEXORA_DIAG_H
#define VEXORA_DIAG_H

#include <pthread.h>
#include <sys/select.h>
#include <sys/time.h>

#include "vexora/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Debug log.
 *
 * Marker files under "/conf/vexora_debug/" decide at run time what is printed; only their existence counts, never their
 * content. LEVEL_INFO, LEVEL_WARNING, LEVEL_ERROR or LEVEL_CRITICAL sets the lowest level printed, PATH_SERIAL,
 * PATH_LOG or PATH_BOTH the destination, and ENABLE_<module> switches a module on. A process reads them at its first
 * accepted VexoraDebug call, and again at every call for as long as "/var/vexora_debug_reload" exists.
 * docs/debug-log.md has the details. */

/** The names printed for the levels 0 to 3: "Info", "Warning", "Error", "Critical". */
extern VEXORA_API const char *const DebugLevelDesc[4];

/** The switch names of the modules that the firmware knows, "ENABLE_DEV" first. GetSourceIsVaild consults it;
 *  VexoraDebug accepts any module that has a switch file. */
extern VEXORA_API const char *const DebugSourceFile[6];

/** Prints one record to standard output when level, module and destination are switched on.
 *
 * A record is "[Level]:<local time>message", the message ending in a newline (added when its last character is neither
 * a newline nor a tab), and one more newline. A message keeps at most 1,023 characters, the newline included.
 *
 * @param level   0 Info, 1 Warning, 2 Error, 3 Critical; a larger value is ignored.
 * @param module  the caller's module name, NUL-terminated, compared on its first 15 characters; NULL is ignored. An
 *                empty name is switched on while fewer than 16 modules are.
 * @param format  printf format of the message, followed by its arguments; NULL is ignored. A format that printf cannot
 *                render prints nothing. One that the hardened C library takes for an attack ends the process: "%n" in
 *                writable memory, or a positional argument ("%2$d") that leaves out one before it.
 *
 * An ignored call does not read the settings. `errno` is kept, and "%m" shows the caller's. A changed time zone shows
 * in the next record.
 *
 * Safe from any thread, also while another thread reads the settings anew: it takes no lock of its own. Not from a
 * signal handler, since a record goes through standard output's stream; the library's own handlers write to its
 * descriptor instead, with the UTC offset learned last. A call that prints nothing allocates nothing; for a record the
 * C library may, when it reads the time zone. Blocks only as writing to standard output does.
 */
VEXORA_API void VexoraDebug(unsigned level, const char *module, const char *format, ...) VEXORA_PRINTF(3, 4);

/** Returns the lowest level that the marker files ask for, looking at the files now.
 *
 * @return 0, 1, 2 or 3 for the first that exists of LEVEL_INFO, LEVEL_WARNING, LEVEL_ERROR and LEVEL_CRITICAL; -1 when
 *         none does.
 *
 * Safe from any thread and from a signal handler. `errno` may change.
 */
VEXORA_API int GetDebugEanleLevel(void);

/** Returns the destination that the marker files ask for, looking at the files now.
 *
 * @return 0, 1 or 2 for the first that exists of PATH_SERIAL (standard output), PATH_LOG (nothing is written by this
 *         library) and PATH_BOTH (standard output); -1 when none does.
 *
 * Safe from any thread and from a signal handler. `errno` may change.
 */
VEXORA_API int GetDebugEanlePath(void);

/** Returns whether a module's switch file exists now.
 *
 * @param module  module name, NUL-terminated. The file's whole path is cut to 63 characters.
 * @return 1 when it exists, 0 when not, -1 when `module` is NULL.
 *
 * Safe from any thread. `errno` may change.
 */
VEXORA_API int GetDebugSourceIsEnable(const char *module);

/** Returns whether the firmware knows a module, whatever is switched on.
 *
 * @param module  module name, NUL-terminated; "ENABLE_" and the name together are cut to 31 characters and compared
 *                exactly, upper and lower case apart.
 * @return 1 when DebugSourceFile lists it, 0 when not, -1 when `module` is NULL.
 *
 * Safe from any thread.
 */
VEXORA_API int GetSourceIsVaild(const char *module);

/** Fills a table with the names of the modules whose switch files exist now.
 *
 * @param table  receives 256 bytes: 16 slots of 16 bytes, each a name of at most 15 characters padded with zero bytes,
 *               in the order in which the directory lists them; unused slots are zero and switches beyond the 16th are
 *               left out. NULL is left alone. When the directory cannot be opened the table keeps what it held.
 * @return always 0.
 *
 * Safe from any thread and from a signal handler; allocates nothing. `errno` may change.
 */
VEXORA_API int LoadDebugSource(char *table);

/** Translates a debug level to the syslog priority.
 *
 * @param level  0 to 3.
 * @return 6, 4, 3 or 2 (informational, warning, error, critical); -1 for a larger level.
 *
 * Safe from any thread and from a signal handler.
 */
VEXORA_API int TranslateToSyslogLevel(unsigned level);

/** Appends a time-stamped line to the watchdog log "/extlog/syslog/WDT.log".
 *
 * The line is "[YYYY-MM-DD hh:mm:ss] " in UTC and the message, cut and ended as VexoraDebug does it. The file is
 * deleted as soon as it has reached 1 MiB after a write; the next call starts anew.
 *
 * @param format  printf format of the message, followed by its arguments. NULL, or a format that printf cannot render,
 *                is refused with -1 and leaves the file alone. What ends the process in VexoraDebug does so here, too.
 * @return 0 after a normal write, also when the file could not be opened or written but its size can be read; -1 when
 *         the arguments are refused or the size cannot be read afterwards; when the file had to be deleted, 0 or, when
 *         that failed, -1.
 *
 * Safe from any thread and between processes: each record reaches the file in one write.
 */
VEXORA_API int TWatchDog1Log(const char *format, ...) VEXORA_PRINTF(1, 2);

/* Descriptor calls that a signal never fails: each repeats its system call while that fails with EINTR and otherwise
 * returns exactly what the call returned, `errno` included. All are safe from any thread and from a signal handler, and
 * keep no state. Pointers are handed to the kernel unchecked, which refuses a bad one with EFAULT. */

/** Opens a file without a creation mode.
 *
 * @param path   file name, handed to the kernel as it is.
 * @param flags  as for open(2). A file that O_CREAT makes here gets no permission bits; use vexora_open_mode to create
 *               files.
 * @return the descriptor, which the caller closes; or -1 with `errno` set.
 */
VEXORA_API int vexora_open(const char *path, int flags);

/** Opens a file with a creation mode.
 *
 * @param path   file name, handed to the kernel as it is.
 * @param flags  as for open(2).
 * @param mode   permission bits of a file that the call creates, reduced by the umask.
 * @return the descriptor, which the caller closes; or -1 with `errno` set.
 */
VEXORA_API int vexora_open_mode(const char *path, int flags, int mode);

/** Closes a descriptor.
 *
 * @param fd  the descriptor.
 * @return 0; or -1 with `errno` set (never EINTR, after which the close is tried again).
 */
VEXORA_API int vexora_close(int fd);

/** Waits until descriptors are ready.
 *
 * @param nfds     highest descriptor in the sets, plus 1.
 * @param read     in: descriptors to watch for reading, out: those ready; NULL watches none.
 * @param write    the same for writing.
 * @param except   the same for exceptional conditions.
 * @param timeout  in: longest wait; out: what the kernel left of it. An interrupted wait goes on with what was left.
 *                 NULL waits without limit.
 * @return the number of ready descriptors, 0 at time-out, or -1 with `errno` set.
 */
VEXORA_API int vexora_select(int nfds, fd_set *read, fd_set *write, fd_set *except, struct timeval *timeout);

/** Reads once.
 *
 * @param fd      the descriptor.
 * @param buffer  receives at most `length` bytes.
 * @param length  capacity in bytes.
 * @return the bytes read, 0 at end of file, or -1 with `errno` set.
 */
VEXORA_API int vexora_read(int fd, void *buffer, unsigned length);

/** Writes once.
 *
 * @param fd      the descriptor.
 * @param buffer  the bytes to write.
 * @param length  their number.
 * @return the bytes written, which may be fewer than `length`, or -1 with `errno` set.
 */
VEXORA_API int vexora_write(int fd, const void *buffer, unsigned length);

/** Reads until the whole length has arrived.
 *
 * @param fd      the descriptor.
 * @param buffer  receives `length` bytes.
 * @param length  bytes wanted.
 * @return `length`; 0 when the end of file came first (what arrived before is in the buffer but not counted); -1 with
 *         `errno` set when a read failed.
 *
 * Blocks until one of these is so.
 */
VEXORA_API int vexora_blocking_read(int fd, void *buffer, unsigned length);

/** Writes until everything is written.
 *
 * @param fd      the descriptor.
 * @param buffer  the bytes to write.
 * @param length  their number; 0 still makes one write call.
 * @return `length`, or -1 with `errno` set when a write failed; part may be written then.
 *
 * Blocks until one of these is so.
 */
VEXORA_API int vexora_blocking_write(int fd, const void *buffer, unsigned length);

/** Sleeps for whole seconds, to the end whatever signals arrive.
 *
 * Each sleep that goes on after a signal is followed by the line "vexora_sleep " on standard output.
 *
 * @param seconds  time to sleep.
 * @return always 0.
 *
 * Safe from any thread, not from a signal handler.
 */
VEXORA_API int vexora_sleep(unsigned seconds);

/** Sleeps for an interval, to the end whatever signals arrive.
 *
 * Each interruption prints the line "VexoraNanoSleep " on standard output.
 *
 * @param seconds      whole seconds.
 * @param nanoseconds  0 to 999,999,999 more nanoseconds; an interval that the kernel calls invalid ends the call
 *                     immediately.
 * @return -1 when both are 0; otherwise 0, also for an invalid interval.
 *
 * Safe from any thread, not from a signal handler.
 */
VEXORA_API int vexora_nanosleep(unsigned seconds, long nanoseconds);

/** Releases a heap block with free(3). Safe from any thread, not from a signal handler.
 *
 * @param pointer  the block, invalid afterwards; NULL is left alone. The caller's variable is not cleared.
 */
VEXORA_API void vexora_safefree(void *pointer);

/* Recursive locks on the heap: the thread that holds one may acquire it again; it is free once it was released as often
 * as it was acquired. All calls are safe from any thread, none from a signal handler. */

/** Makes a lock.
 *
 * @return the lock, which the caller releases with vexora_dwdestroy_mutex; NULL when memory or the C library refused,
 *         with nothing leaked.
 */
VEXORA_API pthread_mutex_t *vexora_pstmutex_init(void);

/** Acquires a lock.
 *
 * @param lock      the lock; NULL is refused.
 * @param attempts  -1 waits without limit; 0 tries once; N above 0 tries at most N times, pausing 1 ms after each
 *                  failure; signals don't shorten the pause.
 * @return 0 when the lock is held; -1 when `lock` is NULL; otherwise the C library's error number: EBUSY when it stayed
 *         taken, EINVAL for a negative number other than -1.
 *
 * A timed call never waits inside the C library.
 */
VEXORA_API int vexora_dwacquire_mutex(pthread_mutex_t *lock, int attempts);

/** Releases a lock.
 *
 * @param lock  the lock; NULL is refused.
 * @return 0; -1 when `lock` is NULL; otherwise the C library's error number (EPERM when the calling thread does not
 *         hold it).
 */
VEXORA_API int vexora_dwrelease_mutex(pthread_mutex_t *lock);

/** Destroys a lock and releases its memory.
 *
 * @param lock  the lock, which no other thread may use any more; NULL is refused.
 * @return 0; -1 when `lock` is NULL or the C library refuses, as it does while the lock is held: the lock then stays
 *         valid and allocated.
 */
VEXORA_API int vexora_dwdestroy_mutex(pthread_mutex_t *lock);

/** Counts an attempt, and reports when there have been enough.
 *
 * @param counter  in and out: attempts so far, 0 before the first; NULL is refused.
 * @param limit    number of attempts, at most 255: a larger one is never reached, the byte wraps.
 * @return 0 when another attempt may be made (the counter is raised by one), 1 when the counter is at or above the
 *         limit (it stays), -1 when `counter` is NULL.
 *
 * The caller serialises calls with the same counter.
 */
VEXORA_API int is_retry_done(unsigned char *counter, int limit);

/* Bit fields: pure functions, safe from any thread and from a signal handler. */

/** Picks bits out of a byte.
 *
 * @param value  the bits, low 8 used.
 * @param mask   which of them to pick, low 8 bits used.
 * @return the picked bits packed to the right: (0xB4, 0xF0) gives 0x0B.
 */
VEXORA_API unsigned char vexora_getbits(unsigned value, unsigned mask);

/** Spreads bits over a byte; note that the mask comes first here.
 *
 * @param mask   the positions to fill, low 8 bits used.
 * @param value  the bits for them, the lowest position first; bits without a position are ignored.
 * @return the spread bits: (0x0A, 0x2) gives 0x08.
 */
VEXORA_API unsigned char vexora_setbits(unsigned mask, unsigned value);

/** Counts the bit positions, 0 to 31, that are set in both `value` and `mask`.
 *
 * @return 0 to 32.
 */
VEXORA_API unsigned char vexora_getbitset_num(unsigned value, unsigned mask);

/** Clears every bit outside a range of positions; the bits kept stay in place.
 *
 * @param value  the bits.
 * @param high   highest position kept.
 * @param low    lowest position kept; positions outside 0 to 31 add nothing.
 * @return the kept bits; 0 when `high` is below `low`.
 */
VEXORA_API unsigned getBits(unsigned value, int high, int low);

/* Signals. */

/** Installs the library's handlers for 24 signals, and names the daemon in their reports.
 *
 * SIGSEGV, SIGBUS and SIGILL print and log a backtrace and the thread's name, then end the process with status 255;
 * when memory for the backtrace's text is short, they print that on standard error and end it with status 1. SIGABRT
 * prints a line and ends it with 255. The others print a line on standard output and the process goes on, termination
 * requests (SIGTERM, SIGQUIT) included; SIGFPE and SIGCHLD print nothing. A line that standard output does not accept
 * within a second is lost. A fatal report reaches standard output after what the process had buffered; a step of it
 * that hangs is cut short after a second, and the process ends all the same. On an exhausted stack there is no space
 * for a report: the kernel ends the process.
 *
 * @param module_name  the daemon's module in the debug log; copied. NULL is refused and reported on standard output.
 * @param length       how many of its characters to keep, at most 31 and never beyond its end; below 0 keeps none.
 * @return 0; -1 when `module_name` is NULL: nothing is installed then.
 *
 * A backtrace needs the program's unwind tables: on ARM build C code with -funwind-tables, or it ends at the first
 * function without them.
 *
 * Called once when a daemon starts; a further call replaces the name and installs the handlers again. Callers
 * serialise. From a crash until the process ends, the library handles SIGALRM, SIGFPE and SIGTRAP, too, and ignores
 * those and fatal signals that another process sends; other threads run on meanwhile and are not woken.
 */
VEXORA_API int VexoraInitSignals(const char *module_name, int length);

/** Installs a handler with every signal blocked while it runs and interrupted system calls restarted.
 *
 * @param signal   signal number. One that the kernel refuses is reported on standard output.
 * @param handler  the handler, which takes the signal number.
 * @return always 0.
 *
 * Safe from any thread; the handler is the whole process's. Not from a signal handler: the report of a refusal is
 * buffered output.
 */
VEXORA_API int InstallSignal(int signal, void (*handler)(int));

/** Prints the line of the SIGURG handler. Safe in a signal handler. */
VEXORA_API void sigurg(void);

#ifdef __cplusplus
}
#endif

#endif
