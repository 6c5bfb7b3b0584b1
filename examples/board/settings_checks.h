/* SPDX-License-Identifier: Apache-2.0 */
/* This board's checks of values that a user typed. Each returns NULL or the reason of the refusal. For some refusals
 * the library prints a line of its own on standard output. */
#ifndef BOARD_SETTINGS_CHECKS_H
#define BOARD_SETTINGS_CHECKS_H

const char *checkServer(const char *value);
const char *checkMailAddress(const char *value);
const char *checkSenderAddress(const char *value);
const char *checkMailUser(const char *value);
const char *checkLine(const char *value);
const char *checkPassword(const char *value);
const char *checkSnmpText(const char *value);
const char *checkEngineId(const char *value);
const char *checkDeviceType(const char *value);
const char *checkPort(const char *value);

#endif
