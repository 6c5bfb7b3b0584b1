// SPDX-License-Identifier: Apache-2.0
//
// Images of the history data file, read and written whole. Only the header is checked.

#include "history/data_file.h"

#include "base/owners.h"
#include "base/report.h"

namespace vexora::history {

namespace {

bool isOurs(const Header &header) {
  return header.head < kCapacity && header.tail < kCapacity && header.itemSize == kRecordSize &&
         header.capacity == kCapacity && header.count <= kCapacity;
}

}  // namespace

RingList makeRing() { return makeRingList(kRecordSize, kCapacity); }

ReadResult readImage(std::FILE *file, Header &header, void *slots) {
  // Without a buffer the slots are read directly into their place.
  static_cast<void>(std::setvbuf(file, nullptr, _IONBF, 0));
  if (std::fread(&header, sizeof header, 1, file) != 1) {
    return ReadResult::kNoHeader;
  }
  if (!isOurs(header)) {
    return ReadResult::kForeignHeader;
  }
  return std::fread(slots, kSlotsSize, 1, file) == 1 ? ReadResult::kWhole : ReadResult::kNoSlots;
}

WriteResult writeImage(std::FILE *file, const vexora_ringlist &ring) {
  const Header header{ring.head, ring.tail, ring.item_size, ring.capacity, ring.count};
  if (std::fwrite(&header, sizeof header, 1, file) != 1) {
    return WriteResult::kHeaderFailed;
  }
  // On a full disk the header's failure shows at the first flush, which is reported as a failure of the slots.
  const bool whole =
      std::fflush(file) == 0 && std::fwrite(ring.storage, kSlotsSize, 1, file) == 1 && std::fflush(file) == 0;
  return whole ? WriteResult::kWhole : WriteResult::kSlotsFailed;
}

}  // namespace vexora::history

using namespace vexora::history;

int InitHistoryDatFile() {
  const vexora::RingList empty = makeRing();
  if (!empty) {
    REPORT_FAILURE(vexora::kHistoryInterface, "Init HistoryDataRing fail");
    return -1;
  }
  vexora::Stream file(std::fopen(kDataFile, "wbe"));
  if (!file) {
    REPORT_FAILURE(vexora::kHistoryInterface, "Open History Dat File Fail");
    return -1;
  }
  // A partial image stays: the next start finds the damage and tries again.
  const WriteResult written = writeImage(file.get(), *empty);
  const bool closed = std::fclose(file.release()) == 0;
  if (written == WriteResult::kHeaderFailed) {
    REPORT_FAILURE(vexora::kHistoryInterface, "Open History Data Head To File Fail");
    return -1;
  }
  if (written == WriteResult::kSlotsFailed || !closed) {
    REPORT_FAILURE(vexora::kHistoryInterface, "Open History Data To File Fail");
    return -1;
  }
  return 0;
}
