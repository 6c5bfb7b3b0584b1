/* SPDX-License-Identifier: Apache-2.0 */
/** The history recorder: hourly statistics of two sensors over one year, kept in a ring that is mirrored to
 *  "/extlog/syslog/history_data.dat", and the command that queries them. docs/history-data-file.md gives the file's
 *  format. */
#ifndef VEXORA_HISTORY_H
#define VEXORA_HISTORY_H

#include <stdint.h>

#include "vexora/containers.h"
#include "vexora/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** One sensor's figures over an hour: whole numbers in the sensor's unit, their low 16 bits. */
typedef struct vexora_history_statistics {
  uint16_t average;
  uint16_t maximum;
  uint16_t minimum;
} vexora_history_statistics;

/** One hour. Little-endian in the file and in answers; 28 bytes without padding. */
typedef struct vexora_history_record {
  vexora_history_statistics sensor_7000;
  vexora_history_statistics sensor_3009;
  uint16_t hour;       /**< 0 to 23, local time */
  uint16_t day;        /**< 1 to 31 */
  uint16_t month;      /**< 1 to 12 */
  uint16_t year;       /**< four digits */
  uint32_t time;       /**< seconds since the epoch */
  uint32_t query_time; /**< the same again: the copy that recording and queries compare */
} vexora_history_record;

/** Statistics of one sensor in the hour in progress. */
typedef struct vexora_history_progress {
  uint32_t samples;
  int32_t sum;
  int32_t maximum;
  int32_t minimum;
} vexora_history_progress;

/** The hour in progress. */
typedef struct vexora_history_hour {
  vexora_history_progress sensor_7000;
  vexora_history_progress sensor_3009;
  int32_t last_record_hour; /**< hour of day of the last record written; 24 means none yet */
} vexora_history_hour;

/** The cache of the data file: a ring of 28-byte records, capacity 8760. NULL before the first initialisation;
 *  InitHistoryDataCache says after which failures. The library owns it. */
extern VEXORA_API vexora_ringlist *HistoryDataRing;

/** 1 while a query reads the data file or a clear runs, else 0. */
extern VEXORA_API uint8_t getHistoryDataFlag;

/** Statistics of the hour in progress. */
extern VEXORA_API vexora_history_hour RecTmpData;

/* Failures are reported through the firmware's debug output. */

/** Creates the data file, or replaces its content, with an empty history, written in place.
 *
 * @return 0; -1 when memory is short or the file cannot be opened (it stays as it was) or written (it stays as far as
 *         it was written: the next start replaces what is not whole).
 *
 * No other call of this family may overlap it.
 */
VEXORA_API int InitHistoryDatFile(void);

/** Loads the data file into a new cache, creating a missing file and replacing a damaged one.
 *
 * A cache loaded before is freed. A file that is short or carries foreign header values is replaced by an empty history
 * and is no error; bytes after the image are ignored.
 *
 * @return 0; -1 when a missing file cannot be created (the cache stays as it was), or when memory is short, the file
 *         cannot be opened for reading or a damaged one not be replaced (the cache is then NULL).
 *
 * No other call of this family may overlap it.
 */
VEXORA_API int InitHistoryDataCache(void);

/** Loads the cache as InitHistoryDataCache does, and zeroes RecTmpData. Called once when a daemon starts, before any
 *  other call of this family.
 *
 * @return 0; -1 when the cache could not be set up: RecTmpData is then untouched.
 */
VEXORA_API int historyDataInit(void);

/** Takes one sample of both sensors, and closes the hour when the local hour of day has changed since the last record.
 *
 * The sample that finds the hour changed is part of the record it closes. A record less than an hour after the newest
 * one and in the same hour of day is merged with it. The data file is then replaced as a whole: after a crash or power
 * cut it is the old image or the new one. Readings that do not fit a signed 32-bit number count as its nearest bound,
 * and one that is no number as 0. A changed time zone counts from the next call.
 *
 * A clock earlier than the newest record removes the data file at the next sample that closes an hour, such as the
 * first one of a process, and the year with it if the process ends before the clock is right. Boards start in 1970
 * until they learn the time: don't call this before the clock is at or past the newest record's query_time
 * (vexora_ringlist_get_tail gives it; 0 while there is none).
 *
 * @return 0 after a sample, also when the sensors could not be read, and while a query or clear is busy; -1 when the
 *         local time is not available, or when a record could not be stored: the data file is then removed, the cache
 *         keeps its records (also the new one, if only the file failed), the statistics stay, and the next call tries
 *         again.
 *
 * One thread samples; queries and clears may come from others. Blocks for the file's rewrite.
 */
VEXORA_API int historyDataRecord(void);

/** Reports how many records the cache holds.
 *
 * @param count  receives the number; must be valid.
 * @return 0; -1 when there is no cache: `count` is then untouched.
 *
 * Safe from any thread.
 */
VEXORA_API int getHistoryDataNum(uint32_t *count);

/** Reads the records of a time range from the data file.
 *
 * @param out    receives the entries, packed one after the other; NULL is refused. Its size is not known here: it has
 *               to hold every record in the range, at most 8760 entries (192,720 bytes for types 0 and 1, 245,280 for
 *               type 4).
 * @param type   0: sensor 0x3009 and times, 22 bytes; 1: sensor 0x7000 and times, 22 bytes; 4: the whole record, 28
 *               bytes. Others are refused.
 * @param start  where the range begins, in seconds since the epoch. The first entry is found by counting hours from the
 *               oldest record: a record at exactly `start` is left out when records are an hour apart and it is neither
 *               the oldest nor the newest (ask one second earlier to have it), and records before `start` may come
 *               first when they aren't.
 * @param end    second after the range; not above `start` is refused.
 * @param count  in and out: raised by one an entry, so the caller sets it to 0 first; set to 0 when the range lies
 *               wholly before or after the records; NULL is refused.
 * @return the bytes written to `out`; -1 when an argument is refused, the file is missing, cannot be read or is damaged
 *         (also one of 0 records whose head slot is earlier than `start` and whose tail slot isn't), or memory is
 *         short: `out` and `count` are then untouched.
 *
 * Safe from any thread. getHistoryDataFlag is 1 while it reads the file; of two queries at the same time, the first to
 * end clears it for both. Each answers one image, whole, even when the file is replaced or removed meanwhile.
 */
VEXORA_API int getHistoryData(void *out, uint32_t type, uint32_t start, uint32_t end, uint32_t *count);

/** Empties the cache and removes the data file; the hour in progress goes on.
 *
 * @return 0; -1 while a query or another clear is busy, when there is no cache or its lock stays taken for a minute
 *         (none of these changes anything), or when the file could not be removed or did not exist (the cache is then
 *         empty).
 *
 * Safe from any thread. Blocks while a record is being stored.
 */
VEXORA_API int clearHistoryData(void);

/** Answers a history command. Multi-byte fields are little-endian and need no alignment.
 *
 * Requests: {0} asks for the number of records, {1, type, start (4 bytes), end (4 bytes)} for records as getHistoryData
 * gives them, {2} clears the history. An answer begins with an IPMI completion code: 0x00; 0xC7 when the length does
 * not fit the request; 0xC9 for another first byte; 0xCC when the call that it leads to failed. After 0x00 a count
 * answers with the number (4 bytes), a query with the number of entries (4 bytes) and the entries.
 *
 * @param request         the request; NULL is refused. With length 0 the answer is 0xC7.
 * @param request_length  its bytes.
 * @param response        receives the answer; NULL is refused. A query needs 5 bytes and those of its entries; on
 *                        failure only the first byte is part of the answer.
 * @return the answer's length in bytes; 0 when a pointer is NULL: nothing is written then.
 */
VEXORA_API int VexoraHistoryRecordDataOper(const uint8_t *request, uint32_t request_length, uint8_t *response);

#ifdef __cplusplus
}
#endif

#endif
