/* SPDX-License-Identifier: Apache-2.0 */
/* A daemon that uses the installed library: one name of every public header, in C and C++. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <vexora/config.h>
#include <vexora/containers.h>
#include <vexora/diag.h>
#include <vexora/history.h>
#include <vexora/ipc.h>
#include <vexora/platform.h>
#include <vexora/security.h>
#include <vexora/storage.h>
#include <vexora/text.h>

static int expect(int holds, const char *what) {
  if (!holds) {
    fprintf(stderr, "wrong: %s\n", what);
  }
  return holds ? 0 : 1;
}

int main(void) {
  const uint32_t records[] = {7, 8, 9};
  const uint8_t request[] = {0};
  const uint8_t bytes[] = {0x0A, 0xF5};
  uint8_t response[64] = {0xFF};
  uint32_t newest = 0;
  char digits[5] = "";
  float volts = 0;
  EventArray event;
  int wrong = 0;

  VexoraDebug(3, "IPMI", "off by default: %d\n", 1);
  wrong += expect(TranslateToSyslogLevel(0) == 6 && strcmp(DebugLevelDesc[3], "Critical") == 0, "diag");
  wrong += expect(vexora_openpipe(NULL) == -1, "ipc");
  memset(&event, 0xFF, sizeof event);
  EventArrayMemInit(&event);
  wrong += expect(event.message == NULL, "config");
  wrong += expect(PMBUS_LinearFormatDataCalc(12, 31, &volts) == 0 && volts > 5.9F && volts < 6.1F, "platform");
  wrong += expect(vexora_convert_hextostr(bytes, digits, 2, 5) == 0 && strcmp(digits, "0af5") == 0, "security");
  wrong += expect(vexora_isvalid_ipv4("10.0.0.1") == 0 && vexora_isvalid_ipv4("10.0.0.256") == -1, "text");

  wrong += expect(vexora_string_write_2_file("/extlog/syslog/note", "kept") == 0, "storage, writing");
  char *text = vexora_string_read_file("/extlog/syslog/note");
  wrong += expect(text != NULL && strcmp(text, "kept") == 0, "storage, reading");
  free(text);

  vexora_ringlist *list = vexora_ringlist_init(sizeof records[0], 2);
  for (size_t i = 0; i < sizeof records / sizeof records[0]; ++i) {
    wrong += expect(vexora_ringlist_push(list, &records[i]) >= 0, "push");
  }
  wrong += expect(vexora_ringlist_get_tail(list, &newest) == 0 && newest == 9 && list->count == 2, "newest record");
  wrong += expect(vexora_ringlist_free(list) == 0, "free");

  wrong += expect(historyDataInit() == 0 && HistoryDataRing->count == 0, "history");
  wrong += expect(VexoraHistoryRecordDataOper(request, 1, response) == 5 && response[0] == 0, "count command");
  return wrong;
}
