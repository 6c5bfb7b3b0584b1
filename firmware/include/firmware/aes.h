/* SPDX-License-Identifier: Apache-2.0 */
#ifndef FIRMWARE_AES_H
#define FIRMWARE_AES_H

/** @file
 * libaes.so.13: the cipher for secrets inside settings files.
 *
 * The host's stand-in is AES-256 in CBC mode with PKCS#7 padding. It reads the key from
 * "/conf/platform_aes_key" (32 bytes) and the initialisation vector from "/conf/platform_aes_vector"
 * (16 bytes). A missing file is replaced by a fixed development value; an unreadable file, or one of
 * another size, is a failure.
 *
 * All functions are safe from any thread. That the lengths are of type int is our assumption.
 */

#include <stdint.h>

#include "firmware/export.h"

FIRMWARE_BEGIN_DECLS

/** Bytes of the key and of the initialisation vector. */
#define FIRMWARE_AES_KEY_SIZE 32
#define FIRMWARE_AES_VECTOR_SIZE 16

/** Fetches the firmware's key.
 *
 * @param key     receives `length` bytes; the caller wipes it after use. The stand-in zeroes it when
 *                the key is not available, and refuses NULL.
 * @param length  FIRMWARE_AES_KEY_SIZE; the stand-in refuses anything else, `key` untouched.
 * @return 0, or non-zero on failure.
 */
FIRMWARE_API int AES_GetEncryptKey(uint8_t *key, int length);

/** Fetches the firmware's initialisation vector: as AES_GetEncryptKey, with a length of
 * FIRMWARE_AES_VECTOR_SIZE.
 */
FIRMWARE_API int AES_GetInitialVector(uint8_t *vector, int length);

/** Enciphers a secret.
 *
 * @param plain         `plainLength` bytes of any value.
 * @param plainLength   0 or more.
 * @param cipher        receives (`plainLength` rounded down to a multiple of 16) + 16 bytes; must
 *                      not overlap `plain`.
 * @param cipherLength  receives the number of those bytes; its value on entry is not read.
 * @param key           FIRMWARE_AES_KEY_SIZE bytes.
 * @param vector        FIRMWARE_AES_VECTOR_SIZE bytes.
 * @return 0, or non-zero on failure; `cipherLength` is then untouched. The stand-in refuses NULLs
 *         and negative lengths.
 */
FIRMWARE_API int AES_EncryptData(const uint8_t *plain, int plainLength, uint8_t *cipher, int *cipherLength,
                                 const uint8_t *key, const uint8_t *vector);

/** Deciphers the output of AES_EncryptData.
 *
 * @param cipher        `cipherLength` bytes.
 * @param cipherLength  a positive multiple of 16.
 * @param plain         receives the plain bytes, at most `cipherLength` - 1 of them, and nothing
 *                      after them: a caller who wants a terminated text zero-fills it first.
 * @param plainLength   receives the number of plain bytes; its value on entry is not read.
 * @param key           FIRMWARE_AES_KEY_SIZE bytes.
 * @param vector        FIRMWARE_AES_VECTOR_SIZE bytes.
 * @return 0, or non-zero on failure, with both outputs untouched. The stand-in refuses NULLs, wrong
 *         lengths and bad padding. Most wrong keys and damaged texts fail at the padding; the others
 *         yield wrong bytes.
 */
FIRMWARE_API int AES_DecryptData(const uint8_t *cipher, int cipherLength, uint8_t *plain, int *plainLength,
                                 const uint8_t *key, const uint8_t *vector);

FIRMWARE_END_DECLS

#endif
