/* SPDX-License-Identifier: Apache-2.0 */
/** Messaging towards the other daemons: named pipes, message queues, the fixed request records that the daemons expect,
 *  the component-monitor and RAID-monitor channels; and shell commands. docs/wire-records.md gives every record. */
#ifndef VEXORA_IPC_H
#define VEXORA_IPC_H

#include "vexora/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Named pipes.
 *
 * A receiving daemon owns a FIFO and reads fixed records from it; a sender opens it, writes one record and closes it.
 * Pipes are opened read-write on both sides, so opening never waits for a partner. A record is at most
 * VEXORA_PIPE_RECORD_MAX bytes and goes out in one write, so records of several writers never mix. Failures are
 * reported on standard output or through the firmware's debug output; bad arguments are refused silently. All calls are
 * safe from any thread. No signal makes one fail, as long as the firmware's sigwrap_select retries. Descriptors of pipes
 * are not close-on-exec: a program that the process starts inherits them, and so keeps a pipe open, unless the caller
 * sets FD_CLOEXEC. */

/** Longest record that can be written, in bytes. */
#define VEXORA_PIPE_RECORD_MAX 1025

/** Makes a FIFO, mode 0777 reduced by the umask, unless its path exists already.
 *
 * @param path  the FIFO's path; NULL is refused.
 * @return 0 when it was made, or when anything at all exists there; -1 when it could not be made, also when the path is
 *         a link that leads nowhere.
 */
VEXORA_API int vexora_create_pipe(const char *path);

/** Opens a pipe for reading and writing.
 *
 * A path that can't be opened is removed, so that its owner can make it anew.
 *
 * @param path  the FIFO's path; NULL is refused.
 * @return the descriptor, which the caller releases with vexora_closepipe; or -1.
 */
VEXORA_API int vexora_openpipe(const char *path);

/** Closes a pipe's descriptor.
 *
 * @return 0, or -1.
 */
VEXORA_API int vexora_closepipe(int fd);

/** Waits for data and reads once.
 *
 * @param fd      the pipe; -1 is refused.
 * @param buffer  receives at most `size` bytes, the rest is zero; NULL is refused. A refused call leaves it alone, a
 *                failed read leaves zeros.
 * @param size    capacity in bytes. To keep records apart, ask for the size of one.
 * @return the bytes read, or -1.
 */
VEXORA_API int vexora_readpipe(int fd, void *buffer, unsigned size);

/** Waits for data for a time and reads once.
 *
 * @param fd          the pipe; -1 is refused. The wait fails for one that descriptor sets can't hold: below 0, or 1024
 *                    and above.
 * @param buffer      receives at most `size` bytes, the rest is zero; NULL is refused. A failed read leaves zeros; a
 *                    refused call, a failed wait and a time-out leave it alone.
 * @param size        capacity in bytes.
 * @param timeout_ms  longest wait in milliseconds; 0 only looks, a negative one waits without limit.
 * @return the bytes read; -1 on time-out, which is reported nowhere, or on failure.
 */
VEXORA_API int vexora_select_readpipe(int fd, void *buffer, unsigned size, int timeout_ms);

/** Writes one record through an open descriptor, which stays open.
 *
 * @param fd    the pipe; -1 is refused.
 * @param data  `size` bytes; NULL is refused.
 * @param size  at most VEXORA_PIPE_RECORD_MAX; more is refused, 0 writes nothing.
 * @return 0 when the whole record was written, or -1. Waits while the pipe is full, unless the descriptor doesn't.
 */
VEXORA_API int vexora_writepipe_with_fd(int fd, const void *data, unsigned size);

/** Writes one record by path: makes a missing FIFO, opens, writes, closes.
 *
 * @param path  the FIFO's path; NULL is refused.
 * @param data  `size` bytes; NULL is refused.
 * @param size  at most VEXORA_PIPE_RECORD_MAX; more is refused, 0 writes nothing.
 * @return 0 when the whole record was written, or -1. Needs no reader; without one that has the pipe open, the record
 *         is gone with the close. Waits while the pipe is full.
 */
VEXORA_API int vexora_writepipe(const char *path, const void *data, unsigned size);

/* Message queues.
 *
 * System V queues, found by key and made on first use. Failures go to the debug log, module "ZELDIAG"; a failed receive
 * is also printed on standard output, without a newline. */

/** Longest payload of a queue message, in bytes. */
#define VEXORA_QUEUE_PAYLOAD_MAX 1024

/** Finds the queue of a key, or makes it with permissions 0666.
 *
 * @return the queue's identifier, or -1.
 */
VEXORA_API int VexoraCreateMsgQueue(int key);

/** Sends a payload to the queue of a key, without waiting.
 *
 * @param key      the queue's key, not its identifier.
 * @param payload  `size` bytes; NULL is refused.
 * @param size     at most VEXORA_QUEUE_PAYLOAD_MAX; more is refused.
 * @return 0; -1 when an argument is refused, the queue can't be made or is full, or the payload's third byte is 0x80 or
 *         more, which makes a message type that the kernel refuses.
 */
VEXORA_API int VexoraWriteMsgQueue(int key, const void *payload, unsigned size);

/** Waits for a message of any type and gives its payload.
 *
 * @param queue   the identifier from VexoraCreateMsgQueue; -1 is refused.
 * @param buffer  receives the payload, at most 1,024 bytes, the rest is zero; NULL is refused. A failed call that
 *                wasn't refused leaves zeros.
 * @param size    capacity in bytes.
 * @return 0, or -1, also when the queue is removed meanwhile or the message has more than 1,025 bytes of text. Such a
 *         message stays first in the queue: every later call fails on it until another program takes it. The payload's
 *         length is not returned: its format fixes it.
 */
VEXORA_API int VexoraReadMsgQueue(int queue, void *buffer, unsigned size);

/* Requests to the other daemons. */

/** Sends a request to the machine-check analysis daemon (queue 12347).
 *
 * @param request  256 bytes; NULL is refused.
 * @return as VexoraWriteMsgQueue.
 */
VEXORA_API int VexoraPostReqToMCA(const void *request);

/** Sends a record to the diagnosis-log daemon (queue 12345).
 *
 * @param record  220 bytes, the first of which is the log type. Type 0 goes as it is; of type 1 the bytes 8 to 11
 *                become the local time, as seconds since the epoch plus the zone's offset, or UTC when the local time
 *                is not available. NULL is refused.
 * @return 1 when the log type is above 1, reported on standard output; otherwise as VexoraWriteMsgQueue.
 */
VEXORA_API int VexoraPostReqToIDL(const void *record);

/** Asks the one-key log collector to collect.
 *
 * @return as vexora_writepipe.
 */
VEXORA_API int VexoraPostReqToOneKeyLog(void);

/** Sends data to the MUPR consumer.
 *
 * @param data  `size` bytes, at most VEXORA_PIPE_RECORD_MAX; NULL is refused.
 * @return as vexora_writepipe.
 */
VEXORA_API int VexoraPostMuprData(const void *data, unsigned size);

/** Asks the main IPMI daemon to add a record to the System Event Log.
 *
 * @param record  10 bytes; NULL is refused.
 * @return as vexora_writepipe.
 */
VEXORA_API int VexoraAddSELToIPMIMain(const void *record);

/** Adds a task failure to the System Event Log. The calling thread is named "VexoraAddTaskFa" from then on.
 *
 * @param first, second, third  the record's event data; their low bytes count.
 * @return always 0; a failed write is reported by the pipe's messages only.
 */
VEXORA_API int VexoraAddTaskFailToSEL(unsigned first, unsigned second, unsigned third);

/* Component monitors and the RAID monitor. */

/** Longest data of a component monitor's command, in bytes. */
#define VEXORA_COMPONENT_DATA_MAX 512

/** Sends a command to the monitor of one component.
 *
 * @param kind           component kind, in the pipe's name.
 * @param instance       instance number, in the pipe's name; its low byte is in the record.
 * @param command        command code, low 16 bits.
 * @param data           `length` bytes; NULL sends none.
 * @param length         at most VEXORA_COMPONENT_DATA_MAX; more, or a negative one, is refused.
 * @param response_flag  handed to the monitor.
 * @return 0 when the record was written, else -1, reported through the firmware's debug output. The monitor's pipe is
 *         never made here, but removed when it can't be opened.
 */
VEXORA_API int VexoraSendCompMonCmdWithRespFlag(unsigned kind, unsigned instance, int command, const void *data,
                                                int length, unsigned response_flag);

/** Sends a command to the monitor that serves all components of a kind; otherwise as VexoraSendCompMonCmdWithRespFlag.
 */
VEXORA_API int VexoraSendCompMonCmdWithMultiMode(unsigned kind, unsigned instance, int command, const void *data,
                                                 int length, unsigned response_flag);

/** Sends a status to the RAID replacement monitor. Senders of all processes take turns.
 *
 * @param first, second  the status; their low bytes count.
 * @return 0; -1 when the monitor's pipe is missing (reported nowhere), the semaphore isn't available, or the pipe can't
 *         be opened or is full (reported through the firmware's debug output).
 *
 * Waits while another sender has its turn, not for the pipe.
 */
VEXORA_API int SendRaidMonitorStatusToPipe(unsigned first, unsigned second);

/** Names a health level: 0 "info", 1 "warning", 2 "critical", 3 "alert", any other "na". The text is constant. */
VEXORA_API const char *TransHealType(unsigned level);

/* Shell commands.
 *
 * Command lines go to the system's shell as they are. Each call waits for its command to end and ignores its exit
 * status; no descriptor that these calls open reaches any child, and no signal cuts the reading of output short.
 *
 * Hazard: all but VexoraCommonCommandToFile close the output's pipe before the command has ended. Whatever the command
 * prints after that, be it one line, ends it by SIGPIPE, with the rest of its work undone. When that is, is a race. A
 * command that must run to its end sends what it prints elsewhere: ">/dev/null". */

/** Looks for characters that chain or pipe commands. The calls below don't: check text from outside first.
 *
 * @return -1 when `command` is NULL or holds "&", ";" or "|" anywhere, else 0.
 */
VEXORA_API int CheckCommandSpecial(const char *command);

/** Runs a command for its effect. Its output is closed at the start, so any output ends the command, most often before
 *  its effect: "echo begin; touch FILE" seldom makes the file. Add ">/dev/null" to every command that prints, or write
 *  "exec >/dev/null;" before several.
 *
 * @return 0 when it was started and has ended; -1 when `command` is NULL, reported on standard output, or it can't be
 *         started, reported on standard error.
 */
VEXORA_API int dwPopenExcute(const char *command);

/** Runs a command and keeps the first line of its output. The output is closed after that line, or after the `size` - 1
 *  characters that the buffer takes: a command that prints after that is ended by it.
 *
 * @param buffer  receives at most `size` - 1 characters, up to the first newline, which is kept, and a terminator. When
 *                the command prints nothing it is untouched.
 * @param size    capacity in bytes; 0 or less is refused. With 1 the buffer always receives the terminator.
 * @return 0; -1 when an argument is NULL or refused, or the command can't be started, reported in the debug log, module
 *         "ZELDIAG".
 */
VEXORA_API int VexoraCommandToBuff(const char *command, char *buffer, int size);

/** Runs a command and keeps the first bytes of its output, without a terminator. The output is closed after `size`
 *  bytes: a command that prints after that is ended by it.
 *
 * @param buffer  receives at most `size` bytes; the rest is untouched.
 * @param size    capacity in bytes; 0 is refused.
 * @return 0; -1 when an argument is NULL or refused, or the command can't be started, reported on standard output.
 */
VEXORA_API int VexoraCommandToBuffEx(const char *command, void *buffer, unsigned size);

/** Runs a command and keeps its whole output, whatever the bytes, in a file.
 *
 * @param path  the file, created or emptied; NULL is refused.
 * @return 0; -1, reported nowhere, when an argument is NULL, the command can't be started (the file is then untouched),
 *         or the file can't be opened or written. No process is left.
 */
VEXORA_API int VexoraCommonCommandToFile(const char *command, const char *path);

#ifdef __cplusplus
}
#endif

#endif
