/* SPDX-License-Identifier: Apache-2.0 */
/* message_sender
 *
 * Sends a request to each of the other daemons, and some that are refused, and prints each call's result. */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "vexora/ipc.h"

enum { kCritical = 2 }; /* a health level */

static void tell(const char *what, int result) { (void)printf("%s: %d\n", what, result); }

static void sendToQueues(void) {
  const uint8_t request[256] = {0x10, 0x20, 0x30, 0x40, [255] = 0xff};
  tell("MCA", VexoraPostReqToMCA(request));

  /* A record of type 0 has a time of its own, here 14 November 2023 22:13:20 UTC. */
  uint8_t record[220] = {0, 0xa1, [8] = 0x00, 0xf1, 0x53, 0x65, [219] = 0xee};
  tell("IDL, log type 0", VexoraPostReqToIDL(record));
  record[0] = 2;
  tell("IDL, log type 2", VexoraPostReqToIDL(record));
  record[0] = 1;
  tell("IDL, log type 1", VexoraPostReqToIDL(record));
}

static void sendToPipes(void) {
  tell("OneKeyLog", VexoraPostReqToOneKeyLog());

  const uint8_t record[10] = {0x21, 0x43, 0x65, 0x04, 0x30, 0x00, 0x51, 0x6f, 0x52, 0x53};
  tell("SEL", VexoraAddSELToIPMIMain(record));
  tell("SEL, task failure", VexoraAddTaskFailToSEL(5, 6, 7));

  uint8_t data[VEXORA_PIPE_RECORD_MAX + 1] = "MUPR";
  memset(data + 4, 0x5a, sizeof data - 4);
  tell("MUPR", VexoraPostMuprData(data, VEXORA_PIPE_RECORD_MAX));
  tell("MUPR, a byte too many", VexoraPostMuprData(data, sizeof data));
}

static void sendToMonitors(void) {
  const uint8_t few[] = {0xaa, 0xbb};
  tell("component 3.1", VexoraSendCompMonCmdWithRespFlag(3, 1, 0x0102, few, sizeof few, 1));
  tell("component 3.1, no data", VexoraSendCompMonCmdWithRespFlag(3, 1, 0x0103, NULL, 100, 0));
  uint8_t most[VEXORA_COMPONENT_DATA_MAX + 1];
  memset(most, 0xcc, sizeof most);
  tell("all components 3", VexoraSendCompMonCmdWithMultiMode(3, 2, 0x0204, most, VEXORA_COMPONENT_DATA_MAX, 1));
  tell("all components 3, a byte too many", VexoraSendCompMonCmdWithMultiMode(3, 2, 0x0204, most, sizeof most, 1));
  tell("component 4.1, which nobody watches", VexoraSendCompMonCmdWithRespFlag(4, 1, 0x0102, few, sizeof few, 1));

  (void)printf("health level %d: %s\n", kCritical, TransHealType(kCritical));
  tell("RAID", SendRaidMonitorStatusToPipe(9, kCritical));
}

int main(void) {
  (void)setvbuf(stdout, NULL, _IOLBF, 0); /* keeps the results in order with the messages on stderr */
  sendToQueues();
  sendToPipes();
  sendToMonitors();
  return 0;
}
