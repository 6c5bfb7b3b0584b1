/* SPDX-License-Identifier: Apache-2.0 */
#ifndef FIRMWARE_IPMIPDK_H
#define FIRMWARE_IPMIPDK_H

/** @file
 * libipmipdk.so: live sensor readings. Loaded at run time from "/usr/local/lib".
 *
 * The host's stand-in reads the text file "/var/ipmipdk_readings" at every call. Each line is
 *
 *     SENSOR VALUE          valid always
 *     SENSOR VALUE SINCE    valid from SINCE on
 *
 * with the sensor number in hexadecimal ("0x" optional), the value in decimal and SINCE in seconds
 * since the epoch; fields are parted by blanks or tabs. Blank lines and lines that begin with '#'
 * are skipped. A sensor's reading is that of its last line in the file whose SINCE is not after
 * time(): a program that replaces time() steers the readings too.
 */

#include "firmware/export.h"

FIRMWARE_BEGIN_DECLS

/** Reads a sensor's value in the sensor's own unit.
 *
 * @param sensor  sensor number, such as 0x3009.
 * @param value   receives the reading; untouched on failure. The stand-in refuses NULL.
 * @param mode    pass 1; its meaning is the platform's, and the stand-in does not look at it.
 * @return 0, or non-zero when there is no reading. To the stand-in that is an unknown sensor, one
 *         without a line that is valid yet, a missing file, or a malformed line anywhere in it.
 *
 * The types of the first and third argument are our reading. Safe from any thread.
 */
FIRMWARE_API int PDK_GetSensorRealValueFromSharedMem(unsigned int sensor, double *value, int mode);

FIRMWARE_END_DECLS

#endif
