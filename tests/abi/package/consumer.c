/* SPDX-License-Identifier: Apache-2.0 */
/* A daemon's view of the installed library: something of every public header, in C. */
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <vexora/containers.h>
#include <vexora/diag.h>
#include <vexora/history.h>

static int expect(int holds, const char *what) {
  if (!holds) {
    fprintf(stderr, "wrong: %s\n", what);
  }
  return holds ? 0 : 1;
}

int main(void) {
  const uint32_t records[] = {7, 8, 9};
  const uint8_t request[] = {0};
  uint8_t response[64] = {0xFF};
  uint32_t newest = 0;
  int wrong = 0;

  VexoraDebug(3, "IPMI", "off by default: %d\n", 1);
  wrong += expect(TranslateToSyslogLevel(0) == 6, "syslog level");
  wrong += expect(strcmp(DebugLevelDesc[3], "Critical") == 0, "level names");

  vexora_ringlist *list = vexora_ringlist_init(sizeof records[0], 2);
  wrong += expect(list != NULL, "new list");
  for (size_t i = 0; i < sizeof records / sizeof records[0]; ++i) {
    wrong += expect(vexora_ringlist_push(list, &records[i]) >= 0, "push");
  }
  wrong += expect(vexora_ringlist_get_tail(list, &newest) == 0 && newest == 9, "newest record");
  wrong += expect(list->count == 2, "count");
  wrong += expect(vexora_ringlist_free(list) == 0, "free");

  wrong += expect(historyDataInit() == 0, "history");
  wrong += expect(HistoryDataRing != NULL && HistoryDataRing->count == 0, "history ring");
  wrong += expect(VexoraHistoryRecordDataOper(request, 1, response) == 5 && response[0] == 0, "count command");
  return wrong;
}
