// SPDX-License-Identifier: Apache-2.0
//
// Reads hostile FRU images: the model gets all that is readable, and each fault is reported with its kind and place.
#pragma once

#include "fru/image.h"

namespace vexora::tool::fru {

struct Fault {
  const char *kind;   // one of those that the help of `vexora fru verify` explains
  std::string place;  // "header", "board.serial-number", "multi-record.2", "image"
  std::size_t offset;
  std::string message;
};

struct Parsed {
  Image image;
  std::vector<Fault> faults;  // in the order of their offsets
  bool exact = false;         // serialise(image) returns the same bytes
};

Parsed parse(View image);

}  // namespace vexora::tool::fru
