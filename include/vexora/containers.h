/* SPDX-License-Identifier: Apache-2.0 */
/** Two fixed-capacity rings of equal-sized records, each guarded by a lock: a list that keeps the newest records, and a
 *  queue that refuses when full. */
#ifndef VEXORA_CONTAINERS_H
#define VEXORA_CONTAINERS_H

#include <pthread.h>
#include <stdint.h>

#include "vexora/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A ring list. Callers may read `count` without the lock and otherwise leave the fields alone.
 *
 * The first five fields are also the header of the history data file: order and widths are fixed. While the list is not
 * full, `head` is 0 and `tail` is count - 1 (capacity - 1 when empty); once full, `head` is the slot after `tail`.
 */
typedef struct vexora_ringlist {
  uint32_t head;         /**< slot of the oldest record */
  uint32_t tail;         /**< slot of the newest record */
  uint32_t item_size;    /**< bytes per record */
  uint32_t capacity;     /**< number of slots */
  uint32_t count;        /**< records held */
  pthread_mutex_t *lock; /**< recursive, guards every operation */
  void *storage;         /**< capacity x item_size bytes; slot i starts at byte i x item_size */
} vexora_ringlist;

/** A ring queue. One slot always stays free: a queue made for N holds N - 1 records.
 *
 * Empty when `head` equals `tail`; full when the slot after `tail` is `head`.
 */
typedef struct vexora_ringq {
  uint32_t head;         /**< slot of the front record, the next one polled */
  uint32_t tail;         /**< slot of the next record pushed */
  uint32_t item_size;    /**< bytes per record */
  uint32_t capacity;     /**< number of slots */
  pthread_mutex_t *lock; /**< recursive, guards every operation */
  void *storage;         /**< item_size x (capacity + 1) bytes */
} vexora_ringq;

/* All functions of both rings except init and free: a NULL ring, a ring without a lock, a NULL record or output
 * pointer, or a lock that stayed taken for a minute (60,000 tries, 1 ms apart) is refused with -1 and changes nothing.
 * Each holds the ring's lock for its work and is safe from any thread, not from a signal handler; it blocks while
 * another thread holds the ring. None allocates or prints; `errno` is not part of the result. Records are copied, and
 * the caller's buffers hold `item_size` bytes a record. */

/** Makes an empty list with storage of zeros.
 *
 * @param item_size  bytes per record; 0 is refused.
 * @param capacity   number of slots; 0, or more than 2,147,483,647, is refused.
 * @return the list, which the caller releases with vexora_ringlist_free; NULL when a size is refused, when their
 *         product exceeds 32 bits, or when memory or a lock could not be made, with nothing leaked.
 */
VEXORA_API vexora_ringlist *vexora_ringlist_init(unsigned item_size, unsigned capacity);

/** Releases a list. No other thread may use it any more: no lock is taken.
 *
 * @param list  the list; NULL is left alone.
 * @return always 0.
 */
VEXORA_API int vexora_ringlist_free(vexora_ringlist *list);

/** Appends a record; in a full list it replaces the oldest.
 *
 * @param record  `item_size` bytes.
 * @return the slot where the record now is, or -1.
 */
VEXORA_API int vexora_ringlist_push(vexora_ringlist *list, const void *record);

/** Copies the oldest record.
 *
 * @param out  receives `item_size` bytes; from an empty list whatever the slot holds, zeros in a fresh or flushed one.
 * @return 0 or -1.
 */
VEXORA_API int vexora_ringlist_get_head(vexora_ringlist *list, void *out);

/** Copies the newest record.
 *
 * @param out  receives `item_size` bytes; from an empty list whatever the slot holds, zeros in a fresh or flushed one.
 * @return 0 or -1.
 */
VEXORA_API int vexora_ringlist_get_tail(vexora_ringlist *list, void *out);

/** Copies a run of records in order of age, the oldest of them first.
 *
 * @param out     receives `number` x `item_size` bytes.
 * @param offset  age of the first: 0 is the oldest held.
 * @param number  how many; 0, or more than are held from `offset` on, is refused. That is judged by the count when the
 *                call begins, before the lock is acquired.
 * @return `number` or -1.
 */
VEXORA_API int vexora_ringlist_get_counts(vexora_ringlist *list, void *out, unsigned offset, unsigned number);

/** Overwrites one record in place.
 *
 * @param record  `item_size` bytes.
 * @param index   age of the record: 0 is the oldest, count - 1 the newest; others are refused, judged by the count when
 *                the call begins, before the lock is acquired.
 * @return 0 or -1.
 */
VEXORA_API int vexora_ringlist_modify_item(vexora_ringlist *list, const void *record, int index);

/** Empties a list and fills its storage with zeros.
 *
 * @return 0 or -1.
 */
VEXORA_API int vexora_ringlist_flush(vexora_ringlist *list);

/** Makes an empty queue.
 *
 * @param item_size  bytes per record; 0 is refused.
 * @param capacity   number of slots, one more than the records it can hold; 0, or more than 2,147,483,647, is refused.
 * @return the queue, which the caller releases with vexora_ringq_free; NULL when a size is refused, when item_size x
 *         (capacity + 1) exceeds 32 bits, or when memory or a lock could not be made, with nothing leaked.
 */
VEXORA_API vexora_ringq *vexora_ringq_init(unsigned item_size, unsigned capacity);

/** Releases a queue. No other thread may use it any more: no lock is taken.
 *
 * @param queue  the queue; NULL is left alone.
 * @return always 0.
 */
VEXORA_API int vexora_ringq_free(vexora_ringq *queue);

/** Appends a record.
 *
 * @param record  `item_size` bytes.
 * @return the new tail slot, or -1, also when the queue is full.
 */
VEXORA_API int vexora_ringq_push(vexora_ringq *queue, const void *record);

/** Puts a record in front: it is the next one polled.
 *
 * @param record  `item_size` bytes.
 * @return the new head slot, or -1, also when the queue is full.
 */
VEXORA_API int vexora_ringq_push_head(vexora_ringq *queue, const void *record);

/** Appends a run of records, all or none.
 *
 * @param records  `number` x `item_size` bytes.
 * @param number   how many; below 0 or more than the free places is refused.
 * @return `number`; 0 records on a queue that is not full give 0; or -1, also when the queue is full, whatever the
 *         number.
 */
VEXORA_API int vexora_ringq_push_counts(vexora_ringq *queue, const void *records, int number);

/** Takes the front record.
 *
 * @param out  receives `item_size` bytes.
 * @return the new head slot, or -1, also when the queue is empty.
 */
VEXORA_API int vexora_ringq_poll(vexora_ringq *queue, void *out);

/** Takes up to `number` records in queue order.
 *
 * @param out     receives at most `number` x `item_size` bytes.
 * @param number  how many at most; below 0 is refused.
 * @return how many were taken, or -1, also when the queue is empty, whatever the number.
 */
VEXORA_API int vexora_ringq_poll_counts(vexora_ringq *queue, void *out, int number);

/** Copies the front record, which stays queued.
 *
 * @param out  receives `item_size` bytes.
 * @return the head slot, or -1, also when the queue is empty.
 */
VEXORA_API int vexora_ringq_head(vexora_ringq *queue, void *out);

/** Empties a queue and fills its slots with zeros; a refused call has no effect. */
VEXORA_API void vexora_ringq_flush(vexora_ringq *queue);

#ifdef __cplusplus
}
#endif

#endif
