// SPDX-License-Identifier: Apache-2.0
//
// The advice table. Expanded it takes half a megabyte, mostly padding, and its texts share many lines. The library
// stores each line once; a text is a run of lines, and every call expands the table anew. The build generates the
// compact form from a catalogue and checks that every text fits its field.

#include "platform/advice.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <span>

#include "platform/advice_table.h"
#include "vexora/platform.h"

static_assert(sizeof(vexora_idl_advice) == 2052);
static_assert(offsetof(vexora_idl_advice, sensor_type) == 0);
static_assert(offsetof(vexora_idl_advice, sensor_number) == 1);
static_assert(offsetof(vexora_idl_advice, event_code) == 2);
static_assert(offsetof(vexora_idl_advice, level) == 3);
static_assert(offsetof(vexora_idl_advice, advice) == 4);

namespace vexora {
namespace {

static_assert(std::size(kAdviceRecords) == VEXORA_IDL_ADVICE_RECORDS);
static_assert(sizeof(vexora_idl_advice) * VEXORA_IDL_ADVICE_RECORDS == VEXORA_IDL_ADVICE_TABLE);

void writeOut(const AdviceRecord &record, std::uint8_t *out) {
  std::uint8_t *const end = out + sizeof(vexora_idl_advice);
  // One by one: a memcpy of four unaligned bytes is a call on ARM.
  *out++ = record.key[0];
  *out++ = record.key[1];
  *out++ = record.key[2];
  *out++ = record.key[3];
  for (const std::uint16_t line : std::span(kAdviceLines).subspan(record.first, record.count)) {
    const std::size_t size = std::size_t{kAdviceStarts[line + 1]} - kAdviceStarts[line];
    std::memcpy(out, kAdvicePool + kAdviceStarts[line], size);
    out += size;
  }
  // The padding begins at the last line's line feed.
  --out;
  std::memset(out, 0, static_cast<std::size_t>(end - out));
}

}  // namespace
}  // namespace vexora

int GetIdlAdviserArrayNum(void) { return VEXORA_IDL_ADVICE_RECORDS; }

int GetIdlAdviserArray(std::uint8_t *dst) {
  if (dst == nullptr) {
    return -1;
  }
  for (const vexora::AdviceRecord &record : vexora::kAdviceRecords) {
    vexora::writeOut(record, dst);
    dst += sizeof(vexora_idl_advice);
  }
  return 0;
}
