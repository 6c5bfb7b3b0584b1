// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "containers/ring_list.h"
#include "vexora/history.h"

namespace vexora::history {

inline constexpr const char *kDirectory = "/extlog/syslog";
inline constexpr const char *kDataFile = "/extlog/syslog/history_data.dat";
inline constexpr const char *kTemporaryFile = "/extlog/syslog/tmp_history_data.dat";

inline constexpr std::uint32_t kRecordSize = 28;
inline constexpr std::uint32_t kCapacity = 365 * 24;
inline constexpr std::uint32_t kHourSeconds = 3600;

// The file is a memory image: the ring's first five fields, then its storage.
inline constexpr std::size_t kHeaderSize = 20;
inline constexpr std::size_t kSlotsSize = std::size_t{kCapacity} * kRecordSize;

static_assert(std::endian::native == std::endian::little, "the data file is little-endian");
static_assert(offsetof(vexora_ringlist, head) == 0 && offsetof(vexora_ringlist, tail) == 4 &&
              offsetof(vexora_ringlist, item_size) == 8 && offsetof(vexora_ringlist, capacity) == 12 &&
              offsetof(vexora_ringlist, count) == 16);
static_assert(sizeof(vexora_history_record) == kRecordSize && offsetof(vexora_history_record, sensor_7000) == 0 &&
              offsetof(vexora_history_record, sensor_3009) == 6 && offsetof(vexora_history_record, hour) == 12 &&
              offsetof(vexora_history_record, day) == 14 && offsetof(vexora_history_record, month) == 16 &&
              offsetof(vexora_history_record, year) == 18 && offsetof(vexora_history_record, time) == 20 &&
              offsetof(vexora_history_record, query_time) == 24);
static_assert(sizeof(vexora_history_hour) == 36 && offsetof(vexora_history_hour, sensor_3009) == 16 &&
              offsetof(vexora_history_hour, last_record_hour) == 32);

/// Makes an empty ring of the data file's shape; null when memory is short.
RingList makeRing();

enum class ReadResult { kWhole, kNoHeader, kForeignHeader, kNoSlots };

/// The first five fields of a ring, as the file has them.
struct Header {
  std::uint32_t head;
  std::uint32_t tail;
  std::uint32_t itemSize;
  std::uint32_t capacity;
  std::uint32_t count;
};
static_assert(sizeof(Header) == kHeaderSize);

/// Reads and checks an image's header, then reads its slots.
ReadResult readImage(std::FILE *file, Header &header, void *slots);

enum class WriteResult { kWhole, kHeaderFailed, kSlotsFailed };

/// Writes a ring's image and flushes it to the kernel.
WriteResult writeImage(std::FILE *file, const vexora_ringlist &ring);

}  // namespace vexora::history
