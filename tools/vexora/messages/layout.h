// SPDX-License-Identifier: Apache-2.0
//
// The records that travel between daemons, as tables of fields, and how they are shown.
#pragma once

#include <string>

#include "core/tool.h"

namespace vexora::tool {

struct RequestField {
  const char *name;
  std::size_t offset;
  std::size_t size;
  bool isNumber;  // little-endian
};

struct RequestLayout {
  const char *name;
  int queue;         // key, or 0
  const char *pipe;  // path, or null; the component monitors' have two numbers after it
  std::size_t size;  // the most that a record has
  std::span<const RequestField> fields;
};

std::span<const RequestLayout> requestLayouts();

/// The layout of a name; null when there is none.
const RequestLayout *findLayout(const std::string &name);

/// The bytes of each field beside its name and value.
std::string showRequest(const RequestLayout &layout, std::span<const std::uint8_t> bytes);

/// The fields with their values: numbers as such, bytes as hexadecimal digits, and all bytes as "bytes".
Json requestJson(const RequestLayout &layout, std::span<const std::uint8_t> bytes);

}  // namespace vexora::tool
