// SPDX-License-Identifier: Apache-2.0
//
// The queue transport. On the wire a message is a 32-bit type followed by the text, and the payload begins in
// the type's second byte: type = 1 + its first three bytes, text = the others and three zeros, as long as the payload.
// The kernel takes the type as a `long` of the machine's own size, so a message is taken apart and put together here;
// daemons of either word size on one queue then understand each other.

#include <sys/ipc.h>
#include <sys/msg.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "base/bytes.h"
#include "base/report.h"
#include "firmware/unix.h"
#include "vexora/diag.h"
#include "vexora/ipc.h"

namespace {

constexpr int kQueueFlags = IPC_CREAT | 0666;
constexpr std::uint8_t kMark = 0x01;
constexpr std::size_t kTypeSize = 4;
constexpr std::size_t kMaxText = VEXORA_QUEUE_PAYLOAD_MAX + 1;

/// A message on the wire: the mark, then the payload. Its first four bytes are the type, the rest is the text.
using Record = std::uint8_t[kTypeSize + kMaxText];

/// A message as the platform's calls take it.
struct PlatformMessage {
  long type;
  std::uint8_t text[kMaxText];
};

}  // namespace

int VexoraCreateMsgQueue(int key) {
  const int queue = msgget(key, kQueueFlags);
  if (queue == -1) {
    VexoraDebug(vexora::kCritical, vexora::kQueueLog, "Error creating thread MsgQueue\u3000key :%dErroNo:%d", key,
                errno);
  }
  return queue;
}

int VexoraWriteMsgQueue(int key, const void *payload, unsigned size) {
  if (payload == nullptr || size > VEXORA_QUEUE_PAYLOAD_MAX) {
    VexoraDebug(vexora::kCritical, vexora::kQueueLog, "VexoraWriteMsgQueue Error Size:%d;Max:%d",
                static_cast<int>(size), VEXORA_QUEUE_PAYLOAD_MAX);
    return -1;
  }
  const int queue = VexoraCreateMsgQueue(key);
  if (queue == -1) {
    return -1;
  }
  Record record = {kMark};
  std::memcpy(&record[1], payload, size);
  PlatformMessage message{};
  // Through 32 bits: a payload that makes a negative type there is refused on every machine.
  message.type = static_cast<std::int32_t>(vexora::loadLittle32(record));
  std::memcpy(message.text, &record[kTypeSize], size);
  if (sigwrap_msgsnd(queue, &message, size, IPC_NOWAIT) == -1) {
    VexoraDebug(vexora::kCritical, vexora::kQueueLog, "Send MsgQueue Error MsgId:%d;ErrNo:%d", queue, errno);
    return -1;
  }
  return 0;
}

int VexoraReadMsgQueue(int queue, void *buffer, unsigned size) {
  if (queue == -1 || buffer == nullptr) {
    VexoraDebug(vexora::kCritical, vexora::kQueueLog, "VexoraReadMsgQueue Error");
    return -1;
  }
  std::memset(buffer, 0, size);
  PlatformMessage message{};
  const ssize_t result = sigwrap_msgrcv(queue, &message, kMaxText, 0, 0);
  if (result < 0) {
    const int error = errno;
    std::printf("[Error]: read the msgid date error: msgid=%d, RetVal=%d;errorNo:%d", queue, -1, error);
    VexoraDebug(vexora::kCritical, vexora::kQueueLog, "Read the msgid date error: msgid=%d, RetVal=%d;errorNo:%d\n",
                queue, -1, error);
    return -1;
  }
  Record record;
  vexora::storeLittle32(record, static_cast<std::uint32_t>(message.type));
  std::memcpy(&record[kTypeSize], message.text, sizeof message.text);
  std::memcpy(buffer, &record[1], std::min<std::size_t>(size, VEXORA_QUEUE_PAYLOAD_MAX));
  return 0;
}
