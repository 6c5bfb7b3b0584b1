// SPDX-License-Identifier: Apache-2.0
//
// Status messages to the RAID replacement monitor, and the names of the health levels. A named semaphore serialises the
// senders of all processes, from before the pipe is opened until after it is closed.

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <iterator>

#include "base/descriptor.h"
#include "base/report.h"
#include "firmware/unix.h"
#include "ipc/request_layout.h"

using vexora::ipc::kRaidPipe;

namespace {

constexpr const char *kSemaphore = "raid_moni_pipe_key";

constexpr const char *kHealthLevels[] = {"info", "warning", "critical", "alert"};

/// Holds the senders' semaphore for a scope.
class Turn {
 public:
  // A failed wait is ignored: a status that is sent out of turn is better than a lost one.
  explicit Turn(void *semaphore) : semaphore_(semaphore) { static_cast<void>(WaitSemaphore(semaphore_)); }
  Turn(const Turn &) = delete;
  Turn &operator=(const Turn &) = delete;
  ~Turn() { static_cast<void>(ReleaseSemaphore(semaphore_, kSemaphore)); }

 private:
  void *const semaphore_;
};

}  // namespace

int SendRaidMonitorStatusToPipe(unsigned first, unsigned second) {
  if (access(kRaidPipe, F_OK) != 0) {
    return -1;
  }
  void *const semaphore = CreateSemaphore(kSemaphore);
  if (semaphore == nullptr) {
    return -1;
  }
  const Turn turn(semaphore);
  const vexora::Descriptor pipe(open(kRaidPipe, O_RDWR | O_NONBLOCK));
  if (!pipe) {
    REPORT_FAILURE(vexora::kPipeOpera, "Unable to open %s pipe\n", kRaidPipe);
    return -1;
  }
  const std::uint8_t status[] = {static_cast<std::uint8_t>(first), static_cast<std::uint8_t>(second)};
  if (write(pipe.get(), status, sizeof status) != sizeof status) {
    REPORT_FAILURE(vexora::kPipeOpera, "Unable to write into %s pipe\n", kRaidPipe);
    return -1;
  }
  return 0;
}

const char *TransHealType(unsigned level) { return level < std::size(kHealthLevels) ? kHealthLevels[level] : "na"; }
