/* SPDX-License-Identifier: Apache-2.0 */
#ifndef FIRMWARE_IPMIPDK_H
#define FIRMWARE_IPMIPDK_H

/** @file
 * libipmipdk.so: live sensor readings. Loaded at run time from "/usr/local/lib".
 *
 * The host's stand-in reads the text file "/var/ipmipdk_readings" at every call. Each line is
 *
 *     SENSOR VALUE          always valid
 *     SENSOR VALUE SINCE    valid from SINCE on
 *
 * with the sensor number in hexadecimal ("0x" optional), the value in decimal and SINCE in seconds
 * since the epoch; fields are separated by blanks or tabs. Blank lines and lines that begin with '#'
 * are skipped. A sensor's reading is the last line in the file whose SINCE is not after time(): a
 * program that replaces time() controls the readings too.
 */

#include "firmware/export.h"

FIRMWARE_BEGIN_DECLS

/** Reads a sensor's value in the sensor's own unit.
 *
 * @param sensor  sensor number, such as 0x3009.
 * @param value   receives the reading; untouched on failure. The stand-in refuses NULL.
 * @param mode    pass 1; its meaning is unknown, and the stand-in ignores it.
 * @return 0, or non-zero when there is no reading. The stand-in has none for an unknown sensor, for a
 *         sensor without a valid line, without the file, or with a malformed line anywhere in it.
 *
 * The types of the first and third argument are our assumption. Safe from any thread.
 */
FIRMWARE_API int PDK_GetSensorRealValueFromSharedMem(unsigned int sensor, double *value, int mode);

FIRMWARE_END_DECLS

#endif
