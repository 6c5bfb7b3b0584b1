/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VEXORA_EXPORT_H
#define VEXORA_EXPORT_H

/** Marks a function or data object that the shared library exports.
 *
 * The library is built with everything hidden; a name is visible to daemons only when it carries this mark in a public
 * header and is in the library's export list.
 */
#if defined(__GNUC__)
#define VEXORA_API __attribute__((visibility("default")))
/** Lets the compiler check printf arguments: the format is argument `text`, its values start at argument `first`. */
#define VEXORA_PRINTF(text, first) __attribute__((format(printf, text, first)))
#else
#define VEXORA_API
#define VEXORA_PRINTF(text, first)
#endif

#endif
