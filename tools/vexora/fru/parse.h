// SPDX-License-Identifier: Apache-2.0
//
// Reads a FRU image of any content: what can be read is, and each fault is reported with its kind and place.
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
  bool exact = false;         // the model gives the same image when it is written
};

Parsed parse(View image);

}  // namespace vexora::tool::fru
