// SPDX-License-Identifier: Apache-2.0
//
// The requests between daemons: their queues and pipes, sizes, and the places of what a sender fills in. Sender and
// daemon are built separately, so this is a wire format. Its numbers are little-endian.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "vexora/ipc.h"

namespace vexora::ipc {

// Machine-check analysis and diagnosis log, by queue: a head of four bytes, then the daemon's own record.
inline constexpr int kMcaQueueKey = 12347;
inline constexpr int kIdlQueueKey = 12345;
inline constexpr std::size_t kQueueRequestSize = 260;
inline constexpr std::size_t kRecordOffset = 4;
inline constexpr std::uint8_t kMcaRequest = 0x01;
inline constexpr std::size_t kMcaRecordSize = 256;
inline constexpr std::size_t kIdlRecordSize = 220;
inline constexpr std::size_t kIdlTimeOffset = 8;  // in the record, whose first byte is the log type
inline constexpr std::uint8_t kIdlTimedLog = 1;   // the largest log type; its records get the local time

inline constexpr const char *kOneKeyLogPipe = "/var/vexora_okl_pipe";
inline constexpr std::size_t kOneKeyLogRequestSize = 260;
inline constexpr std::uint8_t kOneKeyLogCollect = 0x03;

// The main IPMI daemon: two zeros, then a record of the System Event Log.
inline constexpr const char *kIpmiMainPipe = "/var/vexora_ipmimain_pipe";
inline constexpr std::size_t kSelRecordOffset = 2;
inline constexpr std::size_t kSelRecordSize = 10;

// The record of a task's failure, and the places of its three data bytes.
using SelRecord = std::array<std::uint8_t, kSelRecordSize>;
inline constexpr SelRecord kTaskFailure = {0x20, 0x00, 0x00, 0x18, 0x02, 0x00, 0x00, 0x01, 0x00, 0x00};
inline constexpr std::size_t kTaskFailureData[] = {6, 8, 9};

inline constexpr const char *kMuprPipe = "/var/tmp/ipmi_mupr_cmu_pipe";
inline constexpr const char *kRaidPipe = "/var/raid_replace_moni_cmd_pipe";

// A component monitor's pipe is named after its component's kind and instance, or after the kind and 0 where one monitor
// serves all instances.
#define VEXORA_MONITOR_PIPE "/var/compmonreq"
constexpr char kComponentPipe[] = VEXORA_MONITOR_PIPE "%02x%02x";
inline constexpr unsigned kAllInstances = 0;

struct MonitorCommand {
  std::uint16_t code;
  std::uint8_t instance;
  std::uint8_t reserved;
  std::uint32_t responseFlag;
  std::uint32_t dataLength;
  std::uint8_t data[VEXORA_COMPONENT_DATA_MAX];
};
static_assert(sizeof(MonitorCommand) == 524);
static_assert(offsetof(MonitorCommand, instance) == 2 && offsetof(MonitorCommand, responseFlag) == 4 &&
              offsetof(MonitorCommand, dataLength) == 8 && offsetof(MonitorCommand, data) == 12);

}  // namespace vexora::ipc
