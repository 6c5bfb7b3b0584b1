/* SPDX-License-Identifier: Apache-2.0 */
#ifndef FIRMWARE_BLOWFISH_H
#define FIRMWARE_BLOWFISH_H

/** @file
 * libblowfish.so.13: the cipher for stored passwords.
 *
 * The host's stand-in is Blowfish in 64-bit cipher feedback from a zero vector: the output is as
 * long as the input, and the same password under the same key always gives the same bytes. Its key
 * is the content of "/conf/platform_password_key" (1 to 56 bytes), or a fixed development key when
 * there is no such file. A file that is empty, too long or unreadable is a failure, never a reason
 * to fall back on the development key.
 */

#include <stdint.h>

#include "firmware/export.h"

FIRMWARE_BEGIN_DECLS

/** Bytes of a key buffer. */
#define FIRMWARE_PASSWORD_KEY_SIZE 56

/** Fetches the platform's password key.
 *
 * @param key  receives FIRMWARE_PASSWORD_KEY_SIZE bytes, zeros after a shorter key; the caller wipes
 *             it after use. The stand-in zeroes it when it fails, and refuses NULL.
 * @return 0, or non-zero when the key is not to be had.
 *
 * The single argument is our reading: no length travels with the buffer.
 */
FIRMWARE_API int getEncryptKey(uint8_t *key);

/** Enciphers a password.
 *
 * @param plain         the password, `plainLength` bytes of any value.
 * @param plainLength   bytes to encipher.
 * @param cipher        receives `plainLength` bytes, without a terminator; may be `plain` itself.
 * @param cipherLength  room in `cipher`; the stand-in refuses less than `plainLength`.
 * @param key           FIRMWARE_PASSWORD_KEY_SIZE bytes, or fewer ended by a NUL: the stand-in's key
 *                      ends at the first NUL, so a plain C string serves. An empty key is refused.
 * @return 0, or non-zero on failure, with `cipher` untouched. The stand-in refuses NULLs.
 *
 * Safe from any thread. The 8-bit lengths are our reading: callers hand over the low 8 bits.
 */
FIRMWARE_API int EncryptPassword(const uint8_t *plain, uint8_t plainLength, uint8_t *cipher, uint8_t cipherLength,
                                 const uint8_t *key);

/** Deciphers what EncryptPassword made; arguments and results mirror it.
 *
 * A wrong key is not noticed: it yields other bytes.
 */
FIRMWARE_API int DecryptPassword(const uint8_t *cipher, uint8_t cipherLength, uint8_t *plain, uint8_t plainLength,
                                 const uint8_t *key);

FIRMWARE_END_DECLS

#endif
