// SPDX-License-Identifier: Apache-2.0
//
// Commands to the component monitors. A sender never creates a monitor's pipe: without a pipe there is no monitor that
// would read it.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "base/report.h"
#include "ipc/request_layout.h"

// The monitors' messages have module and line twice.
#define REPORT_MONITOR(text, ...) \
  REPORT_FAILURE(vexora::kBaseFunction, "%s(%d)" text, vexora::kBaseFunction, __LINE__ __VA_OPT__(, __VA_ARGS__))

using namespace vexora::ipc;

namespace {

/// Returns false when the length is refused.
bool build(MonitorCommand &command, unsigned instance, int code, const void *data, int length, unsigned responseFlag) {
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

int send(const MonitorCommand &command, unsigned kind, unsigned instance) {
  char pipe[64];
  std::snprintf(pipe, sizeof pipe, kComponentPipe, kind, instance);
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
  MonitorCommand built{};
  return build(built, instance, command, data, length, response_flag) ? send(built, kind, instance) : -1;
}

int VexoraSendCompMonCmdWithMultiMode(unsigned kind, unsigned instance, int command, const void *data, int length,
                                      unsigned response_flag) {
  MonitorCommand built{};
  return build(built, instance, command, data, length, response_flag) ? send(built, kind, kAllInstances) : -1;
}
