// SPDX-License-Identifier: Apache-2.0
//
// Pipes and queues, against only the system calls that a record needs.

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/select.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

#include "table.h"
#include "vexora/ipc.h"

namespace {

using vexora::bench::Aim;
using vexora::bench::Table;

using Bytes = std::vector<std::byte>;

constexpr Aim kAim{.host = 1.1, .board = 1.1};
constexpr int kMessageCalls = 50;
constexpr const char *kPipe = "/var/bench_pipe";
constexpr unsigned kPipeRecord = 260;

/// Writes a record by path into a pipe that a reader has open, and reads it back.
void pipeRecord(Table &table) {
  const int reader = vexora_create_pipe(kPipe) == 0 ? vexora_openpipe(kPipe) : -1;
  const Bytes record(kPipeRecord);
  Bytes out(kPipeRecord);
  const auto readBack = [&] { return read(reader, out.data(), out.size()) == static_cast<ssize_t>(out.size()); };
  table.compare(
      "pipe-record", kAim, kMessageCalls,
      [&] { return vexora_writepipe(kPipe, record.data(), kPipeRecord) == 0 && readBack(); },
      [&] {
        const int pipe = access(kPipe, F_OK) == 0 ? open(kPipe, O_RDWR) : -1;
        const bool written = write(pipe, record.data(), record.size()) == static_cast<ssize_t>(record.size());
        return close(pipe) == 0 && written && readBack();
      });
  static_cast<void>(close(reader));
}

/// A waiting record, read after a check whether there is one.
void pipeSelectRead(Table &table) {
  const int pipe = vexora_create_pipe(kPipe) == 0 ? vexora_openpipe(kPipe) : -1;
  const Bytes record(kPipeRecord);
  Bytes out(kPipeRecord);
  const auto send = [&] { return write(pipe, record.data(), record.size()) == static_cast<ssize_t>(record.size()); };
  table.compare(
      "pipe-select-read", {.host = 1.15, .board = 1.15}, kMessageCalls,
      [&] { return send() && vexora_select_readpipe(pipe, out.data(), kPipeRecord, 1000) == int{kPipeRecord}; },
      [&] {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(pipe, &readable);
        timeval timeout{1, 0};
        return send() && select(pipe + 1, &readable, nullptr, nullptr, &timeout) == 1 &&
               read(pipe, out.data(), out.size()) == static_cast<ssize_t>(out.size());
      });
  static_cast<void>(close(pipe));
}

constexpr int kQueueKey = 12347;

struct Message {
  long type;
  std::byte text[VEXORA_QUEUE_PAYLOAD_MAX + 1];
};

/// A payload sent to a key and received. The wire form needs it moved into a message and out of one.
void queueMessage(Table &table) {
  const int queue = VexoraCreateMsgQueue(kQueueKey);
  const Bytes payload(kPipeRecord);
  Bytes out(kPipeRecord);
  auto message = std::make_unique<Message>();
  table.compare(
      "queue-message", {.host = 1.1, .board = 1.15}, kMessageCalls,
      [&] {
        return VexoraWriteMsgQueue(kQueueKey, payload.data(), kPipeRecord) == 0 &&
               VexoraReadMsgQueue(queue, out.data(), kPipeRecord) == 0;
      },
      [&] {
        message->type = 1;
        std::memcpy(message->text, payload.data() + 3, kPipeRecord - 3);
        const bool passed = msgsnd(msgget(kQueueKey, IPC_CREAT | 0666), message.get(), kPipeRecord, IPC_NOWAIT) == 0 &&
                            msgrcv(queue, message.get(), sizeof message->text, 0, 0) == ssize_t{kPipeRecord};
        std::memset(out.data(), 0, out.size());
        std::memcpy(out.data() + 3, message->text, kPipeRecord - 3);
        vexora::bench::touchMemory();
        return passed;
      });
}

}  // namespace

int main(int argc, char **argv) {
  Table table(argc, argv);
  pipeRecord(table);
  pipeSelectRead(table);
  queueMessage(table);
  return table.status();
}
