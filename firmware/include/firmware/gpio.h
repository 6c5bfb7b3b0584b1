/* SPDX-License-Identifier: Apache-2.0 */
#ifndef FIRMWARE_GPIO_H
#define FIRMWARE_GPIO_H

/** @file
 * libgpio.so.13: general-purpose input and output lines.
 *
 * The two functions below exist in the host's stand-in only: a program that must run on a board may
 * not call them. They keep each line's level, "0" or "1", in the file "/var/gpio/line<N>", so that a
 * script can drive and watch lines. The board's own functions are not declared: our library needs
 * this one at load time but calls nothing in it.
 */

#include "firmware/export.h"

FIRMWARE_BEGIN_DECLS

/** Reads a line's level on the host.
 *
 * @return 0 or 1, or -1 when the line was never written or its file holds anything else.
 */
FIRMWARE_API int hostGpioRead(unsigned int line);

/** Sets a line's level on the host; the first write creates the line's file.
 *
 * @param level  0 or 1; anything else is refused.
 * @return 0, or -1 when the level is refused or the file cannot be written.
 */
FIRMWARE_API int hostGpioWrite(unsigned int line, int level);

FIRMWARE_END_DECLS

#endif
