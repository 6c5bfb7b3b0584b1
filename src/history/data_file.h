// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "containers/ring_list.h"
#include "history/file_layout.h"

namespace vexora::history {

inline constexpr const char *kDirectory = "/extlog/syslog";
inline constexpr const char *kTemporaryFile = "/extlog/syslog/tmp_history_data.dat";

inline constexpr std::uint32_t kHourSeconds = 3600;

// The file is a memory image: the ring's first five fields, then its storage.
static_assert(offsetof(vexora_ringlist, head) == offsetof(Header, head) &&
              offsetof(vexora_ringlist, tail) == offsetof(Header, tail) &&
              offsetof(vexora_ringlist, item_size) == offsetof(Header, itemSize) &&
              offsetof(vexora_ringlist, capacity) == offsetof(Header, capacity) &&
              offsetof(vexora_ringlist, count) == offsetof(Header, count));
static_assert(sizeof(vexora_history_hour) == 36 && offsetof(vexora_history_hour, sensor_3009) == 16 &&
              offsetof(vexora_history_hour, last_record_hour) == 32);

/// Makes an empty ring of the data file's shape; null when memory is short.
RingList makeRing();

enum class ReadResult { kWhole, kNoHeader, kForeignHeader, kNoSlots };

/// Reads and checks an image's header, then reads its slots.
ReadResult readImage(std::FILE *file, Header &header, void *slots);

enum class WriteResult { kWhole, kHeaderFailed, kSlotsFailed };

/// Writes a ring's image and flushes it to the kernel.
WriteResult writeImage(std::FILE *file, const vexora_ringlist &ring);

}  // namespace vexora::history
