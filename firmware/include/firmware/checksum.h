/* SPDX-License-Identifier: Apache-2.0 */
#ifndef FIRMWARE_CHECKSUM_H
#define FIRMWARE_CHECKSUM_H

/** @file
 * libchecksum.so.13: the firmware's checksums.
 */

#include <stdint.h>

#include "firmware/export.h"

FIRMWARE_BEGIN_DECLS

/** Returns the CRC32 of a buffer.
 *
 * @param buffer  `length` bytes; NULL is allowed only with a length of 0.
 * @param length  bytes; the CRC of 0 bytes is 0.
 *
 * The stand-in computes the CRC of Ethernet and zip files (reflected polynomial 0xEDB88320, initial
 * value and final XOR 0xFFFFFFFF). Files written on a board carry the CRC of the board's own
 * library; the two need not agree. Safe from any thread.
 */
FIRMWARE_API uint32_t CalculateCRC32(const unsigned char *buffer, unsigned int length);

FIRMWARE_END_DECLS

#endif
