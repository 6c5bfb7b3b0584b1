// SPDX-License-Identifier: Apache-2.0
//
// The TF card: its device, the place where it is mounted, and the suffixes of its images' names.
#pragma once

namespace vexora::storage {

inline constexpr const char *kCard = "/dev/mmcblk0";
inline constexpr const char *kCardPartition = "/dev/mmcblk0p1";
inline constexpr const char *kCardMountPoint = "/mnt/sdmmc0p2";

inline constexpr const char *kNewImage = ".new";
inline constexpr const char *kOldImage = ".old";

}  // namespace vexora::storage
