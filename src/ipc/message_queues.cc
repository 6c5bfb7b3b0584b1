// SPDX-License-Identifier: Apache-2.0
//
// The queue transport. On the wire a message is a 32-bit type and a text. The payload begins in the type's second byte:
// the type is 0x01 and the first three payload bytes, the text is the rest and three zeros, as long as the payload. The
// kernel takes the type as a `long` of the machine's own size, so messages are converted here: daemons of either word
// size can share a queue.

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

/// A message for msgsnd and msgrcv. The wire form is built in place: it begins in the last four bytes of `type`, which
/// is computed from them before a send and stored into them after a receive.
struct KernelMessage {
  long type;
  std::uint8_t text[kMaxText];

  std::uint8_t *wire() { return reinterpret_cast<std::uint8_t *>(this) + offsetof(KernelMessage, text) - kTypeSize; }
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
  __attribute__((uninitialized)) KernelMessage message;  // every byte that is sent is written below
  std::uint8_t *const wire = message.wire();
  wire[0] = kMark;
  std::memcpy(wire + 1, payload, size);
  std::memset(wire + 1 + size, 0, kTypeSize - 1);
  // Through 32 bits: a payload that gives a negative 32-bit type is refused on every machine.
  message.type = static_cast<std::int32_t>(vexora::loadLittle32(wire));
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
  KernelMessage message{};
  if (sigwrap_msgrcv(queue, &message, kMaxText, 0, 0) < 0) {
    const int error = errno;
    std::memset(buffer, 0, size);
    std::printf("[Error]: read the msgid date error: msgid=%d, RetVal=%d;errorNo:%d", queue, -1, error);
    VexoraDebug(vexora::kCritical, vexora::kQueueLog, "Read the msgid date error: msgid=%d, RetVal=%d;errorNo:%d\n",
                queue, -1, error);
    return -1;
  }
  vexora::storeLittle32(message.wire(), static_cast<std::uint32_t>(message.type));
  const std::size_t copied = std::min<std::size_t>(size, VEXORA_QUEUE_PAYLOAD_MAX);
  std::memcpy(buffer, message.wire() + 1, copied);
  std::memset(static_cast<std::uint8_t *>(buffer) + copied, 0, size - copied);
  return 0;
}
