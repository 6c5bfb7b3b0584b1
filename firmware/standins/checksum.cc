// SPDX-License-Identifier: Apache-2.0

#include "firmware/checksum.h"

#include <zlib.h>

uint32_t CalculateCRC32(const unsigned char *buffer, unsigned int length) {
  return static_cast<uint32_t>(crc32(0, buffer, length));
}
