// SPDX-License-Identifier: Apache-2.0
//
// The history data file: a ring's header, then its slots, one record each, all little-endian. It has no checksum.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "vexora/history.h"

namespace vexora::history {

inline constexpr const char *kDataFile = "/extlog/syslog/history_data.dat";

inline constexpr std::uint32_t kRecordSize = 28;
inline constexpr std::uint32_t kCapacity = 365 * 24;
inline constexpr std::size_t kHeaderSize = 20;
inline constexpr std::size_t kSlotsSize = std::size_t{kCapacity} * kRecordSize;
inline constexpr std::size_t kFileSize = kHeaderSize + kSlotsSize;

struct Header {
  std::uint32_t head;  // the slot of the oldest record
  std::uint32_t tail;  // the slot of the newest
  std::uint32_t itemSize;
  std::uint32_t capacity;
  std::uint32_t count;
};

static_assert(std::endian::native == std::endian::little, "the data file is little-endian");
static_assert(sizeof(Header) == kHeaderSize);
static_assert(sizeof(vexora_history_record) == kRecordSize && offsetof(vexora_history_record, sensor_7000) == 0 &&
              offsetof(vexora_history_record, sensor_3009) == 6 && offsetof(vexora_history_record, hour) == 12 &&
              offsetof(vexora_history_record, day) == 14 && offsetof(vexora_history_record, month) == 16 &&
              offsetof(vexora_history_record, year) == 18 && offsetof(vexora_history_record, time) == 20 &&
              offsetof(vexora_history_record, query_time) == 24);

}  // namespace vexora::history
