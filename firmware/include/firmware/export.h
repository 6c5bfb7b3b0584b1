/* SPDX-License-Identifier: Apache-2.0 */
#ifndef FIRMWARE_EXPORT_H
#define FIRMWARE_EXPORT_H

/** Marks a function that one of the firmware's closed libraries provides. */
#define FIRMWARE_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define FIRMWARE_BEGIN_DECLS extern "C" {
#define FIRMWARE_END_DECLS }
#else
#define FIRMWARE_BEGIN_DECLS
#define FIRMWARE_END_DECLS
#endif

#endif
