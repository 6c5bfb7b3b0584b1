/* SPDX-License-Identifier: Apache-2.0 */
#ifndef FIRMWARE_BLOWFISH_H
#define FIRMWARE_BLOWFISH_H

/** @file
 * libblowfish.so.13: the cipher for stored passwords.
 *
 * The host's stand-in is Blowfish in 64-bit cipher feedback from a zero vector: the output is as
 * long as the input, and the same password under the same key always yields the same bytes. It reads
 * the key from "/conf/platform_password_key" (1 to 56 bytes). A missing file is replaced by a fixed
 * development key; an empty, too long or unreadable file is a failure.
 */

#include <stdint.h>

#include "firmware/export.h"

FIRMWARE_BEGIN_DECLS

/** Bytes of a key buffer. */
#define FIRMWARE_PASSWORD_KEY_SIZE 56

/** Fetches the firmware's password key.
 *
 * @param key  receives FIRMWARE_PASSWORD_KEY_SIZE bytes, zeros after a shorter key; the caller wipes
 *             it after use. The stand-in zeroes it when it fails, and refuses NULL.
 * @return 0, or non-zero when the key is not available.
 *
 * That there is no argument for the buffer's length is our assumption.
 */
FIRMWARE_API int getEncryptKey(uint8_t *key);

/** Enciphers a password.
 *
 * @param plain         the password, `plainLength` bytes of any value.
 * @param plainLength   bytes to encipher.
 * @param cipher        receives `plainLength` bytes, without a terminator; may be `plain` itself.
 * @param cipherLength  capacity of `cipher`; the stand-in refuses less than `plainLength`.
 * @param key           FIRMWARE_PASSWORD_KEY_SIZE bytes, or a shorter C string: the stand-in's key
 *                      ends at the first NUL. An empty key is refused.
 * @return 0, or non-zero on failure, with `cipher` untouched. The stand-in refuses NULLs.
 *
 * Safe from any thread. That the lengths have 8 bits is our assumption: callers pass the low 8 bits.
 */
FIRMWARE_API int EncryptPassword(const uint8_t *plain, uint8_t plainLength, uint8_t *cipher, uint8_t cipherLength,
                                 const uint8_t *key);

/** Deciphers the output of EncryptPassword; arguments and results mirror it.
 *
 * A wrong key is not detected: it yields wrong bytes.
 */
FIRMWARE_API int DecryptPassword(const uint8_t *cipher, uint8_t cipherLength, uint8_t *plain, uint8_t plainLength,
                                 const uint8_t *key);

FIRMWARE_END_DECLS

#endif
