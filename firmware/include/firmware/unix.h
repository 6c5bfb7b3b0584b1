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
 * The stand-in writes "[dbg LEVEL] TEXT" to standard error, in one write and with a newline added
 * when the text does not end with one; text beyond 2,000 bytes is cut. `errno` is kept.
 */
FIRMWARE_API void XDBG_LINUXAPP_DbgOut(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));

/** Writes a message to the firmware's maintenance output; levels here are 178 and 180.
 *
 * The stand-in writes "[maint LEVEL] TEXT" to standard error, as XDBG_LINUXAPP_DbgOut does.
 */
FIRMWARE_API void XDBG_LINUXAPP_MaintenceOut(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));

/** select(2), which the stand-in takes up again when a signal interrupts it.
 *
 * Arguments, results and `errno` are those of select, but EINTR is never seen: the wait goes on for
 * what is left of the time-out. `timeout` holds no useful value afterwards.
 */
FIRMWARE_API int sigwrap_select(int nfds, fd_set *readSet, fd_set *writeSet, fd_set *exceptSet,
                                struct timeval *timeout);

/** msgsnd(2), which the stand-in takes up again when a signal interrupts it.
 *
 * @param message  the system's own record: a `long` type, positive, then `textSize` bytes of text.
 *                 A `long` has 4 bytes on the boards and 8 on most hosts.
 */
FIRMWARE_API int sigwrap_msgsnd(int queue, const void *message, size_t textSize, int flags);

/** msgrcv(2), which the stand-in takes up again when a signal interrupts it.
 *
 * @param message  receives the system's own record: a `long` type, then at most `textSize` bytes.
 * @return the number of text bytes, or -1 with `errno` set. A waiting call ends with a message or
 *         with the queue: a program that must stop on a signal cannot wait here.
 */
FIRMWARE_API ssize_t sigwrap_msgrcv(int queue, void *message, size_t textSize, long type, int flags);

/** Opens a semaphore that all processes share by name, and creates it, free, on first use.
 *
 * @param name  without '/', such as "raid_moni_pipe_key"; the stand-in refuses NULL.
 * @return a handle, or NULL on failure with `errno` set. It stays valid, also in children made by
 *         fork, until the process ends; opening the same name again yields the same handle.
 *
 * The pointer type is our reading: a handle is one machine word, zero when there is none.
 */
FIRMWARE_API void *CreateSemaphore(const char *name);

/** Waits until the semaphore is had, through interruptions too.
 *
 * @return 0, or -1 when the handle is NULL or not a semaphore's.
 *
 * It belongs to no process: one that dies without giving it back leaves it taken.
 */
FIRMWARE_API int WaitSemaphore(void *semaphore);

/** Gives the semaphore back.
 *
 * @param name  the name it was opened with; the stand-in does not need it.
 * @return 0, or -1 when the handle is NULL or not a semaphore's.
 */
FIRMWARE_API int ReleaseSemaphore(void *semaphore, const char *name);

/** Copies a regular file's content and permissions.
 *
 * @param from  the file; a link is followed.
 * @param to    the file to make or replace, or a folder that receives it under its own name.
 * @return 0, or -1 when the source is no regular file, is the destination itself, or cannot be
 *         copied. A copy that fails midway may leave a short destination.
 */
FIRMWARE_API int copyFile(const char *from, const char *to);

/** Moves a file, replacing the destination.
 *
 * @param from  the file.
 * @param to    its new path, or a folder that receives it under its own name.
 * @return 0, or -1 on failure, with the source still there.
 *
 * Within one file system the destination is replaced in one step; between two it is copied first
 * and the source removed afterwards.
 */
FIRMWARE_API int moveFile(const char *from, const char *to);

/** Copies what a folder holds into another folder, with all below it.
 *
 * @param from       the folder.
 * @param to         the folder that receives its entries; made, with its parents, when missing.
 * @param overwrite  what becomes of entries that the destination has already: 0 keeps them, else
 *                   they are replaced. Folders on both sides are merged either way.
 * @return 0, or -1 when the source is no folder, the destination lies inside it, or something
 *         could not be copied; what was copied until then stays.
 *
 * Symbolic links are copied as links and never followed; devices, sockets and pipes are left out.
 * This meaning of the third argument is our reading.
 */
FIRMWARE_API int copyDir(const char *from, const char *to, int overwrite);

/** Removes a folder with all below it, or whatever else is at the path.
 *
 * @param path  a symbolic link is removed itself, its target stays.
 * @return 0 when nothing is at the path any more, also when nothing was; -1 for NULL, an empty
 *         path, the root folder, and when something could not be removed.
 */
FIRMWARE_API int RmDir(const char *path);

/** Runs a command line with the shell and waits for its end.
 *
 * @return the shell's wait status (0 for success, to be taken apart with WIFEXITED and its like),
 *         or -1 when `command` is NULL or the shell cannot be started or waited for.
 *
 * Blocks until the command ends, through interruptions too. The caller's signal handling is never
 * changed; the command starts with no signal blocked. A process that ignores SIGCHLD gets -1,
 * since the system then keeps no status.
 */
FIRMWARE_API int safe_system(const char *command);

FIRMWARE_END_DECLS

#endif
