// SPDX-License-Identifier: Apache-2.0
//
// The cache of the data file, and the recorder's start. A damaged or foreign file is replaced by an empty history; this
// is no error, since a daemon could do nothing about it.

#include <unistd.h>

#include "base/owners.h"
#include "base/report.h"
#include "history/data_file.h"
#include "vexora/history.h"

using namespace vexora::history;

extern "C" {
vexora_ringlist *HistoryDataRing = nullptr;
uint8_t getHistoryDataFlag = 0;
vexora_history_hour RecTmpData = {};
}

namespace {

void dropCache() {
  static_cast<void>(vexora_ringlist_free(HistoryDataRing));
  HistoryDataRing = nullptr;
}

/// Reads the data file into the cache and reports any damage. The ring's header changes only for a whole image; its
/// slots may be partly overwritten in any case.
bool loadCache(vexora::Stream file, vexora_ringlist &ring) {
  Header header{};
  const ReadResult result = readImage(file.get(), header, ring.storage);
  file.reset();
  switch (result) {
    case ReadResult::kNoHeader:
      REPORT_FAILURE(vexora::kHistoryInterface, "Read History Dat File Head Fail, Reinit History Dat File");
      return false;
    case ReadResult::kForeignHeader:
      REPORT_FAILURE(vexora::kHistoryInterface, "History Dat File Head Param Error, Reinit History Dat File");
      return false;
    case ReadResult::kNoSlots:
      REPORT_FAILURE(vexora::kHistoryInterface, "Read History Dat File Data Fail, Reinit History Dat File");
      return false;
    case ReadResult::kWhole:
      break;
  }
  ring.head = header.head;
  ring.tail = header.tail;
  ring.count = header.count;
  return true;
}

}  // namespace

int InitHistoryDataCache() {
  if (access(kDataFile, F_OK) != 0 && InitHistoryDatFile() != 0) {
    REPORT_FAILURE(vexora::kHistoryInterface, "Init History Dat File Fail");
    return -1;
  }
  dropCache();
  HistoryDataRing = makeRing().release();
  if (HistoryDataRing == nullptr) {
    REPORT_FAILURE(vexora::kHistoryInterface, "Init HistoryDataRing fail");
    return -1;
  }
  vexora::Stream file(std::fopen(kDataFile, "rbe"));
  if (!file) {
    REPORT_FAILURE(vexora::kHistoryInterface, "Open History Dat File Fail");
    dropCache();
    return -1;
  }
  if (loadCache(std::move(file), *HistoryDataRing)) {
    return 0;
  }
  if (InitHistoryDatFile() != 0 || vexora_ringlist_flush(HistoryDataRing) != 0) {
    dropCache();
    return -1;
  }
  return 0;
}

int historyDataInit() {
  if (InitHistoryDataCache() != 0) {
    return -1;
  }
  RecTmpData = {};
  return 0;
}
