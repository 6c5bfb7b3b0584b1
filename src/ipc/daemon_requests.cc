// SPDX-License-Identifier: Apache-2.0
//
// Requests to the machine-check analysis, diagnosis-log, one-key log, MUPR and main IPMI daemons, assembled byte by byte.

#include <sys/prctl.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "base/bytes.h"
#include "ipc/request_layout.h"

using vexora::storeLittle32;
using namespace vexora::ipc;

namespace {

/// Returns the low 32 bits of the seconds since the epoch plus the zone's offset.
std::uint32_t localSeconds() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  tzset();
  const long offset = localtime_r(&now, &local) != nullptr ? local.tm_gmtoff : 0;
  return static_cast<std::uint32_t>(now) + static_cast<std::uint32_t>(offset);
}

std::uint8_t lowByte(unsigned value) { return static_cast<std::uint8_t>(value); }

}  // namespace

int VexoraPostReqToMCA(const void *request) {
  if (request == nullptr) {
    return -1;
  }
  std::uint8_t payload[kQueueRequestSize] = {kMcaRequest};
  std::memcpy(&payload[kRecordOffset], request, kMcaRecordSize);
  return VexoraWriteMsgQueue(kMcaQueueKey, payload, sizeof payload);
}

int VexoraPostReqToIDL(const void *record) {
  if (record == nullptr) {
    return -1;
  }
  std::uint8_t payload[kQueueRequestSize] = {};
  std::memcpy(&payload[kRecordOffset], record, kIdlRecordSize);
  const std::uint8_t logType = payload[kRecordOffset];
  if (logType > kIdlTimedLog) {
    std::printf("the IDL Log Type(%d) is Error\n", logType);
    return 1;
  }
  if (logType == kIdlTimedLog) {
    storeLittle32(&payload[kRecordOffset + kIdlTimeOffset], localSeconds());
  }
  return VexoraWriteMsgQueue(kIdlQueueKey, payload, sizeof payload);
}

int VexoraPostReqToOneKeyLog() {
  const std::uint8_t request[kOneKeyLogRequestSize] = {kOneKeyLogCollect};
  return vexora_writepipe(kOneKeyLogPipe, request, sizeof request);
}

int VexoraPostMuprData(const void *data, unsigned size) { return vexora_writepipe(kMuprPipe, data, size); }

int VexoraAddSELToIPMIMain(const void *record) {
  if (record == nullptr) {
    return -1;
  }
  std::uint8_t request[kSelRecordOffset + kSelRecordSize] = {};
  std::memcpy(&request[kSelRecordOffset], record, kSelRecordSize);
  return vexora_writepipe(kIpmiMainPipe, request, sizeof request);
}

int VexoraAddTaskFailToSEL(unsigned first, unsigned second, unsigned third) {
  static_cast<void>(prctl(PR_SET_NAME, "VexoraAddTaskFailToSEL", 0, 0, 0));
  SelRecord record = kTaskFailure;
  record[kTaskFailureData[0]] = lowByte(first);
  record[kTaskFailureData[1]] = lowByte(second);
  record[kTaskFailureData[2]] = lowByte(third);
  static_cast<void>(VexoraAddSELToIPMIMain(record.data()));
  return 0;
}
