/* SPDX-License-Identifier: Apache-2.0 */
/* What this board demands of a value that somebody has typed. Each check returns NULL, or why the value is refused. The
 * library's own line about it, where it has one, comes on standard output before that. */
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
