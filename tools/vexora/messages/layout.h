// SPDX-License-Identifier: Apache-2.0
//
// The records that daemons send to each other, as tables of fields, and how they are shown.
#pragma once

#include <string>

#include "core/tool.h"

namespace vexora::tool {

struct RequestField {
  const char *name;
  std::size_t size;
  bool isNumber = false;  // little-endian
};

struct RequestLayout {
  const char *name;
  int queue;                             // key, or 0
  const char *pipe;                      // path, or null; a component monitor's path ends with two more numbers
  std::size_t size;                      // of a record, at most
  std::span<const RequestField> fields;  // adjacent
};

std::span<const RequestLayout> requestLayouts();

/// Returns null when there is none.
const RequestLayout *findLayout(const std::string &name);

/// Returns the path of a component monitor's pipe; instance 0 is the monitor of all instances.
std::string componentPipe(unsigned kind, unsigned instance);

/// Throws Failure(kUsage) when queues can't be reached, as with --root.
void needQueues(const Session &session);

/// Returns a line for each field: its name, bytes and value.
std::string showRequest(const RequestLayout &layout, std::span<const std::uint8_t> bytes);

/// Returns the fields as numbers or hexadecimal digits, and all bytes as "bytes".
Json requestJson(const RequestLayout &layout, std::span<const std::uint8_t> bytes);

}  // namespace vexora::tool
