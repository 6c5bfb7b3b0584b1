// SPDX-License-Identifier: Apache-2.0
//
// Reads a FRU image of any content: what can be read is, and each fault is told with its class and place.
#pragma once

#include "fru/image.h"

namespace vexora::tool::fru {

enum class FaultKind {
  kSize,            // too short for a header, or too large
  kHeaderVersion,   // the layout is not known: no area is read
  kHeaderChecksum,  //
  kReserved,        // bits that have to be 0
  kAreaBounds,      // offset or length beyond the image, or no length
  kAreaOverlap,     //
  kAreaVersion,     // the area is not read
  kAreaChecksum,    //
  kFieldEnd,        // a field or the end marker is not where the area has room for it
  kFieldEncoding,   // bytes without a meaning
  kRecordBounds,    // a record runs past the image's end
  kRecordChecksum,  // behind a damaged header nothing is read
  kRecordVersion,   //
  kRecordEnd,       // no record is marked as the last
  kUnusedSpace,     // not empty
};

const char *nameOf(FaultKind kind);

struct Fault {
  FaultKind kind;
  std::string place;  // "header", "board.serial-number", "multi-record.2", "image"
  std::size_t offset;
  std::string message;
};

struct Parsed {
  Image image;
  std::vector<Fault> faults;  // in the order of their offsets
  bool exact = false;         // the model gives the same image when it is written
};

Parsed parse(View image);

}  // namespace vexora::tool::fru
