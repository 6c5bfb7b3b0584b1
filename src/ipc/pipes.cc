// SPDX-License-Identifier: Apache-2.0
//
// Named pipes. A record is one write of at most 1,025 bytes, which a FIFO accepts whole or not at all, so writers need
// no lock. The texts of the messages are an interface: people search their logs for them.
//
// Hazard: vexora_openpipe unlinks the FIFO after any failed open, also after a lack of descriptors or permissions.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/error_text.h"
#include "base/report.h"
#include "vexora/diag.h"
#include "vexora/ipc.h"

// These messages contain module and line twice, the second time with the function's name.
#define REPORT_PIPE(text) REPORT_FAILURE(vexora::kBaseFunction, text, path, vexora::kBaseFunction, __func__, __LINE__)

namespace {

constexpr mode_t kPipeMode = 0777;

bool exists(const char *path) { return access(path, F_OK) == 0; }

/// Writes the whole record in one call; a FIFO never accepts only a part.
bool writeRecord(int fd, const void *data, unsigned size) {
  return vexora_write(fd, data, size) == static_cast<int>(size);
}

/// Waits for data. Returns 1 when there is some, 0 at time-out, -1 after a failure, which it reports.
int waitForData(int fd, int timeoutMs) {
  fd_set readable;
  FD_ZERO(&readable);
  int ready = -1;
  if (fd < 0 || fd >= FD_SETSIZE) {
    errno = EBADF;
  } else {
    FD_SET(fd, &readable);
    timeval timeout{};
    timeout.tv_sec = timeoutMs / 1000;
    timeout.tv_usec = timeoutMs % 1000 * 1000;
    ready = sigwrap_select(fd + 1, &readable, nullptr, nullptr, &timeout);
  }
  if (ready < 0) {
    REPORT_FAILURE(vexora::kBaseFunction, "Message.c : Error waiting on pipe %s\n", vexora::ErrorText(errno).get());
  }
  return ready;
}

}  // namespace

int vexora_create_pipe(const char *path) {
  if (path == nullptr) {
    return -1;
  }
  // EEXIST: another sender has just created the pipe. A dangling link also gives EEXIST, but is no pipe.
  if (exists(path) || mkfifo(path, kPipeMode) == 0 || (errno == EEXIST && exists(path))) {
    return 0;
  }
  std::printf("Could not create pipe : %s\n", path);
  return -1;
}

int vexora_openpipe(const char *path) {
  if (path == nullptr) {
    return -1;
  }
  const int fd = vexora_open(path, O_RDWR);
  if (fd >= 0) {
    return fd;
  }
  std::printf("could not open the pipe : %s\n", path);
  if (unlink(path) != 0) {
    std::fputs("could not unlink the pipe", stdout);
  }
  return -1;
}

int vexora_closepipe(int fd) {
  if (vexora_close(fd) == 0) {
    return 0;
  }
  std::printf("could not close the pipe : %d\n", fd);
  return -1;
}

int vexora_readpipe(int fd, void *buffer, unsigned size) {
  if (fd == -1 || buffer == nullptr) {
    return -1;
  }
  std::memset(buffer, 0, size);
  const int got = vexora_read(fd, buffer, size);
  if (got < 0) {
    std::printf("[Error]: read the pipe date error: pipeHndler=%d, readsize=%d\n", fd, got);
    return -1;
  }
  return got;
}

int vexora_select_readpipe(int fd, void *buffer, unsigned size, int timeout_ms) {
  if (fd == -1 || buffer == nullptr) {
    return -1;
  }
  if (timeout_ms >= 0 && waitForData(fd, timeout_ms) <= 0) {
    return -1;
  }
  return vexora_readpipe(fd, buffer, size);
}

int vexora_writepipe_with_fd(int fd, const void *data, unsigned size) {
  if (fd == -1 || data == nullptr || size > VEXORA_PIPE_RECORD_MAX) {
    return -1;
  }
  if (!writeRecord(fd, data, size)) {
    std::puts("Unable to write into pipe");
    return -1;
  }
  return 0;
}

int vexora_writepipe(const char *path, const void *data, unsigned size) {
  if (path == nullptr || data == nullptr || size > VEXORA_PIPE_RECORD_MAX) {
    return -1;
  }
  if (vexora_create_pipe(path) != 0) {
    REPORT_PIPE("Unable to create pipe %s --------------- %s %s %d\n");
    return -1;
  }
  const int fd = vexora_open(path, O_RDWR);
  if (fd < 0) {
    REPORT_PIPE("Unable to open the command pipe::%s --------------%s %s %d\n");
    return -1;
  }
  const bool written = writeRecord(fd, data, size);
  if (!written) {
    REPORT_PIPE("Unable to write into %s pipe ---------------%s %s %d\n");
  }
  static_cast<void>(vexora_close(fd));
  return written ? 0 : -1;
}
