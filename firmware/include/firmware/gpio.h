/* SPDX-License-Identifier: Apache-2.0 */
#ifndef FIRMWARE_GPIO_H
#define FIRMWARE_GPIO_H

/** @file
 * libgpio.so.13: general-purpose input and output lines.
 *
 * Our library needs this one at load time but calls nothing in it, so nothing of the board's own
 * interface is declared here. The two functions below exist in the host's stand-in alone, as their
 * names say: they keep each line's level in the file "/var/gpio/line<N>", holding "0" or "1", so
 * that a bench script can drive and watch lines. Nothing that must run on a board may call them.
 */

#include "firmware/export.h"

FIRMWARE_BEGIN_DECLS

/** Reads a line's level on the host.
 *
 * @return 0 or 1, or -1 when the line was never written or its file holds anything else.
 */
FIRMWARE_API int hostGpioRead(unsigned int line);

/** Sets a line's level on the host; the first write makes the line.
 *
 * @param level  0 or 1; anything else is refused.
 * @return 0, or -1 when the level is refused or the file cannot be written.
 */
FIRMWARE_API int hostGpioWrite(unsigned int line, int level);

FIRMWARE_END_DECLS

#endif
