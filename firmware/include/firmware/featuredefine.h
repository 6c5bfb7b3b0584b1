/* SPDX-License-Identifier: Apache-2.0 */
#ifndef FIRMWARE_FEATUREDEFINE_H
#define FIRMWARE_FEATUREDEFINE_H

/** @file
 * libfeaturedefine.so.13: the optional features that this firmware was configured with.
 *
 * The host's stand-in reads "/conf/platform_features" at every call: one enabled feature per line;
 * blank lines and lines that begin with '#' are skipped. Without the file every feature is off.
 */

#include "firmware/export.h"

FIRMWARE_BEGIN_DECLS

/** Returns whether a feature is on.
 *
 * @param feature  name such as "CONFIG_RVK_FEATURE_ENABLE_USERPSWD_ENCRYPTION"; the stand-in treats
 *                 NULL as an unknown feature.
 * @return non-zero when on, 0 when off or unknown.
 *
 * Safe from any thread. The result type is our assumption: the firmware promises zero or non-zero.
 */
FIRMWARE_API int IsFeatureEnabled(const char *feature);

FIRMWARE_END_DECLS

#endif
