/* SPDX-License-Identifier: Apache-2.0 */
#ifndef FIRMWARE_UNIX_H
#define FIRMWARE_UNIX_H

/** @file
 * libunix.so.13: debug output and wrappers of the operating system's services.
 *
 * Every function is safe from any thread.
 */

#include <stddef.h>
#include <sys/select.h>
#include <sys/types.h>

#include "firmware/export.h"

FIRMWARE_BEGIN_DECLS

/** Writes a message to the firmware's debug output.
 *
 * @param level   130 (0x82) for failures, 132 (0x84) for warnings.
 * @param format  printf format with its arguments.
 *
 * The stand-in writes "[dbg LEVEL] TEXT" to standard error in one write, and adds a newline when the
 * text does not end with one. Text beyond 2,000 bytes is cut. `errno` is preserved.
 */
FIRMWARE_API void XDBG_LINUXAPP_DbgOut(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));

/** Writes a message to the firmware's maintenance output; levels here are 178 and 180.
 *
 * The stand-in writes "[maint LEVEL] TEXT" to standard error, as XDBG_LINUXAPP_DbgOut does.
 */
FIRMWARE_API void XDBG_LINUXAPP_MaintenceOut(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));

/** select(2); the stand-in restarts it after EINTR.
 *
 * Arguments, results and `errno` are those of select, but it never fails with EINTR: the wait goes on
 * for the rest of the time-out. `timeout` is unspecified afterwards.
 */
FIRMWARE_API int sigwrap_select(int nfds, fd_set *readSet, fd_set *writeSet, fd_set *exceptSet,
                                struct timeval *timeout);

/** msgsnd(2); the stand-in restarts it after EINTR.
 *
 * @param message  the system's own record: a `long` type, positive, then `textSize` bytes of text.
 *                 A `long` has 4 bytes on the boards and 8 on most hosts.
 */
FIRMWARE_API int sigwrap_msgsnd(int queue, const void *message, size_t textSize, int flags);

/** msgrcv(2); the stand-in restarts it after EINTR.
 *
 * @param message  receives the system's own record: a `long` type, then at most `textSize` bytes.
 * @return the number of text bytes, or -1 with `errno` set. A signal does not end the wait, only a
 *         message or the removal of the queue does.
 */
FIRMWARE_API ssize_t sigwrap_msgrcv(int queue, void *message, size_t textSize, long type, int flags);

/** Opens a semaphore that all processes share by name. The first use creates it with a count of 1.
 *
 * @param name  without '/', such as "raid_moni_pipe_key"; the stand-in refuses NULL.
 * @return a handle, or NULL on failure with `errno` set. It stays valid, also in children made by
 *         fork, until the process ends; opening the same name again yields the same handle.
 *
 * The pointer type is our assumption: a handle is one machine word, zero when there is none.
 */
FIRMWARE_API void *CreateSemaphore(const char *name);

/** Acquires the semaphore; waits until it is free and never fails with EINTR.
 *
 * @return 0, or -1 when the handle is NULL or not a semaphore's.
 *
 * A process that dies without releasing it leaves it locked: no process owns a semaphore.
 */
FIRMWARE_API int WaitSemaphore(void *semaphore);

/** Releases the semaphore.
 *
 * @param name  the name it was opened with; the stand-in does not need it.
 * @return 0, or -1 when the handle is NULL or not a semaphore's.
 */
FIRMWARE_API int ReleaseSemaphore(void *semaphore, const char *name);

/** Copies a regular file's content and permissions.
 *
 * @param from  the file; a link is followed.
 * @param to    the file to create or replace, or a directory that receives it under its own name.
 * @return 0, or -1 when the source is no regular file, is the destination itself, or cannot be
 *         copied. A copy that fails midway may leave a truncated destination.
 */
FIRMWARE_API int copyFile(const char *from, const char *to);

/** Moves a file, replacing the destination.
 *
 * @param from  the file.
 * @param to    its new path, or a directory that receives it under its own name.
 * @return 0, or -1 on failure; the source then still exists.
 *
 * Within one file system the destination is replaced atomically. Between two the file is copied
 * first and the source removed afterwards.
 */
FIRMWARE_API int moveFile(const char *from, const char *to);

/** Copies the entries of a directory into another one, recursively.
 *
 * @param from       the directory.
 * @param to         the directory that receives its entries; created with its parents when missing.
 * @param overwrite  0 keeps the entries that the destination already has, else they are replaced.
 *                   Directories on both sides are merged either way.
 * @return 0, or -1 when the source is no directory, the destination lies inside it, or an entry
 *         could not be copied; entries copied before stay.
 *
 * Symbolic links are copied as links and never followed; devices, sockets and pipes are left out.
 * This meaning of the third argument is our assumption.
 */
FIRMWARE_API int copyDir(const char *from, const char *to, int overwrite);

/** Removes a directory recursively, or a single file of any type.
 *
 * @param path  a symbolic link is removed itself; its target stays.
 * @return 0 when the path no longer exists or never did; -1 for NULL, an empty path, the root
 *         directory, and when an entry could not be removed.
 */
FIRMWARE_API int RmDir(const char *path);

/** Runs a command line with the shell and waits for its end.
 *
 * @return the shell's wait status (0 for success; see WIFEXITED and the related macros), or -1 when
 *         `command` is NULL or the shell cannot be started or waited for.
 *
 * Blocks until the command ends; a signal does not end the wait. The caller's signal handling never
 * changes; the command starts with no signal blocked. A process that ignores SIGCHLD gets -1, since
 * the kernel then keeps no status.
 */
FIRMWARE_API int safe_system(const char *command);

FIRMWARE_END_DECLS

#endif
