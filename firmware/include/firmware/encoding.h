/* SPDX-License-Identifier: Apache-2.0 */
#ifndef FIRMWARE_ENCODING_H
#define FIRMWARE_ENCODING_H

/** @file
 * libencoding.so.13: text encodings.
 */

#include <stddef.h>

#include "firmware/export.h"

FIRMWARE_BEGIN_DECLS

/** Decodes base64 (RFC 4648, the alphabet with '+' and '/').
 *
 * @param out     receives the decoded bytes, without a terminator. It needs 3 bytes for every 4
 *                characters; the stand-in writes only the decoded bytes.
 * @param text    `length` characters; need not be NUL-terminated.
 * @param length  characters, padding included.
 * @return the number of decoded bytes, 0 for empty or malformed text.
 *
 * The stand-in treats as malformed: a length that is no multiple of 4, a character outside the
 * alphabet (white space included), padding anywhere but at the end, more than two padding
 * characters. `out` is then untouched. Safe from any thread. The order of the arguments and the type
 * of the result are our assumption.
 */
FIRMWARE_API size_t cyoBase64Decode(void *out, const char *text, size_t length);

FIRMWARE_END_DECLS

#endif
