// SPDX-License-Identifier: Apache-2.0
//
// Commands to the component monitors. Each monitor owns a pipe named after its component's kind and instance, or after
// the kind alone where one monitor serves all instances. A sender never creates the pipe: without a pipe there is no
// monitor that would read it.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "base/report.h"
#include "vexora/ipc.h"

// The monitors' messages have module and line twice.
#define REPORT_MONITOR(text, ...) \
  REPORT_FAILURE(vexora::kBaseFunction, "%s(%d)" text, vexora::kBaseFunction, __LINE__ __VA_OPT__(, __VA_ARGS__))

namespace {

/// A command on the wire.
struct Command {
  std::uint16_t code;
  std::uint8_t instance;
  std::uint8_t reserved;
  std::uint32_t responseFlag;
  std::uint32_t dataLength;
  std::uint8_t data[VEXORA_COMPONENT_DATA_MAX];
};
static_assert(sizeof(Command) == 524);
static_assert(offsetof(Command, instance) == 2 && offsetof(Command, responseFlag) == 4 &&
              offsetof(Command, dataLength) == 8 && offsetof(Command, data) == 12);

constexpr unsigned kAllInstances = 0;

/// Returns false when the length is refused.
bool build(Command &command, unsigned instance, int code, const void *data, int length, unsigned responseFlag) {
  if (length < 0 || length > VEXORA_COMPONENT_DATA_MAX) {
    REPORT_MONITOR("Input parameters error!\n");
    return false;
  }
  command.code = static_cast<std::uint16_t>(code);
  command.instance = static_cast<std::uint8_t>(instance);
  command.responseFlag = responseFlag;
  if (data != nullptr) {
    command.dataLength = static_cast<std::uint32_t>(length);
    std::memcpy(command.data, data, command.dataLength);
  }
  return true;
}

int send(const Command &command, unsigned kind, unsigned instance) {
  char pipe[64];
  std::snprintf(pipe, sizeof pipe, "/var/compmonreq%02x%02x", kind, instance);
  if (access(pipe, F_OK) != 0) {
    REPORT_MONITOR("Pipe %s is not exsist!\n", pipe);
    return -1;
  }
  const int fd = vexora_openpipe(pipe);
  if (fd == -1) {
    REPORT_MONITOR("Open pipe %s error!\n", pipe);
    return -1;
  }
  const int result = vexora_writepipe_with_fd(fd, &command, sizeof command);
  if (result != 0) {
    REPORT_MONITOR("write message 2 pipe error with %s!\n", pipe);
  }
  static_cast<void>(vexora_closepipe(fd));
  return result;
}

}  // namespace

int VexoraSendCompMonCmdWithRespFlag(unsigned kind, unsigned instance, int command, const void *data, int length,
                                     unsigned response_flag) {
  Command built{};
  return build(built, instance, command, data, length, response_flag) ? send(built, kind, instance) : -1;
}

int VexoraSendCompMonCmdWithMultiMode(unsigned kind, unsigned instance, int command, const void *data, int length,
                                      unsigned response_flag) {
  Command built{};
  return build(built, instance, command, data, length, response_flag) ? send(built, kind, kAllInstances) : -1;
}
