// SPDX-License-Identifier: Apache-2.0
//
// Mounting the TF card by shell commands. These contain only the constant names below, never foreign text.

#include <cstdio>
#include <cstring>
#include <ctime>

#include "base/command.h"
#include "base/medium.h"
#include "base/report.h"
#include "firmware/unix.h"
#include "storage/card_files.h"
#include "storage/df_line.h"
#include "storage/paths.h"
#include "vexora/storage.h"

namespace {

using namespace vexora::storage;

constexpr int kMaintenanceFailure = 178;
constexpr int kMaintenanceWarning = 180;

/// The function's name, in the messages of a remount.
constexpr const char *kCheck = "CheckTFCardMountStatus";
constexpr const char *kRemountPoint = "/mnt/sdmmc0p3";
constexpr int kRemounts = 3;
constexpr long kAfterUnmountMicroseconds = 500;
constexpr long kAfterMountMicroseconds = 1000;

/// Returns the device to mount, or null when there is no card.
const char *cardDevice() {
  if (exists(kCardPartition)) {
    return kCardPartition;
  }
  return exists(kCard) ? kCard : nullptr;
}

int unmount(const char *mountPoint) {
  char command[128];
  static_cast<void>(std::snprintf(command, sizeof command, "umount %s", mountPoint));
  return safe_system(command);
}

int mount(const char *device, const char *mountPoint) {
  char command[256];
  static_cast<void>(std::snprintf(command, sizeof command, "mount %s %s", device, mountPoint));
  return safe_system(command);
}

void pause(long microseconds) {
  timespec interval{};
  interval.tv_nsec = microseconds * 1000;
  static_cast<void>(nanosleep(&interval, nullptr));
}

/// Reads a line without its newline; skips what exceeds the capacity. Returns false after the last line.
bool readLine(std::FILE *output, char (&line)[kDfLineSize]) {
  std::size_t length = vexora::readOutput(output, line, sizeof line - 1, '\n');
  if (length == 0) {
    return false;
  }
  if (line[length - 1] == '\n') {
    --length;
  } else {
    for (char passed = '\0'; passed != '\n' && vexora::readOutput(output, &passed, 1) == 1;) {
    }
  }
  line[length] = '\0';
  return true;
}

/// Finds the device's line in the output of `df`.
bool findMount(std::FILE *output, const char *device, DfLine &found) {
  char line[kDfLineSize];
  while (readLine(output, line)) {
    if (found.parse(line) && found.isAbout(device)) {
      return true;
    }
  }
  return false;
}

/// Mounts the device at its own mount point; returns 0 or the wait status of the mount command.
int remount(const char *device) {
  if (unmount(kRemountPoint) != 0) {
    XDBG_LINUXAPP_MaintenceOut(kMaintenanceWarning, "[%s][%d]umount %s failed!\n", kCheck, __LINE__, kRemountPoint);
  }
  pause(kAfterUnmountMicroseconds);
  const int status = mount(device, kRemountPoint);
  if (status != 0) {
    XDBG_LINUXAPP_MaintenceOut(kMaintenanceWarning, "[%s][%d]mount %s on %s failed!\n", kCheck, __LINE__, device,
                               kRemountPoint);
    pause(kAfterMountMicroseconds);
  }
  return status;
}

/// Syncs a file that was copied into the card's top directory, and its name. The unmount that follows would do so as
/// well, but can't report a failure.
bool isStored(const char *source) {
  const char *const slash = std::strrchr(source, '/');
  char path[512];  // more than the mount point and the longest name
  static_cast<void>(std::snprintf(path, sizeof path, "%s/%s", kCardMountPoint, slash != nullptr ? slash + 1 : source));
  return vexora::reachesMedium(path) && vexora::reachesMedium(kCardMountPoint);
}

}  // namespace

int common_mount_tf_card() {
  const char *const device = cardDevice();
  if (device == nullptr) {
    std::puts("TF Card not Exist!");
    return -1;
  }
  static_cast<void>(unmount(kCardMountPoint));
  static_cast<void>(mount(device, kCardMountPoint));
  return 0;
}

int common_umount_tf_card() {
  static_cast<void>(unmount(kCardMountPoint));
  return 0;
}

int common_copy_log_to_tf_card(const char *source_path) {
  if (source_path == nullptr) {
    return -1;
  }
  if (!exists(kCard)) {
    std::puts("TFCARD_DEVICE:check  TF card fail, no such file or directory. ");
    return VEXORA_CARD_MISSING;
  }
  static_cast<void>(common_mount_tf_card());
  if (copyFile(source_path, kCardMountPoint) != 0 || !isStored(source_path)) {
    std::printf("Copy %s to %s fail in TF card \n", source_path, kCardMountPoint);
    return -1;
  }
  return common_umount_tf_card();
}

int CheckTFCardMountStatus(char *mount_point, int64_t *available_kib) {
  const char *const device = cardDevice();
  if (device == nullptr) {
    XDBG_LINUXAPP_MaintenceOut(kMaintenanceFailure, "[%s][%d]TF Card not Exist!\n", vexora::kTfCard, __LINE__);
    return -1;
  }
  int status = -1;
  for (int round = 0; round < kRemounts && status != 0; ++round) {
    vexora::Command output = vexora::startCommand("df -k");
    if (!output) {
      return -1;
    }
    DfLine found;
    if (findMount(output.get(), device, found)) {
      if (mount_point != nullptr) {
        static_assert(kDfFieldSize == VEXORA_CARD_MOUNT_POINT_SIZE, "parse() cuts the text to the caller's buffer");
        std::memcpy(mount_point, found.mountPoint, std::strlen(found.mountPoint) + 1);
      }
      if (available_kib != nullptr) {
        *available_kib = found.availableKib();
      }
      return 0;
    }
    output.reset();
    status = remount(device);
  }
  return status;
}
