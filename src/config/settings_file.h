// SPDX-License-Identifier: Apache-2.0
//
// The one way in which settings travel between a packed record and a JSON file. A store is data: the file's names, and
// tables of fields in the order of the file, which is also the order of reading. That order matters where fields are
// secret: a secret that cannot be deciphered ends the reading, so that it and those after it stay empty.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace vexora::config {

enum class Kind : std::uint8_t {
  kInteger,    // little-endian in the record; of a number too large for it the low bits of the nearest 32-bit number
  kText,       // NUL-terminated in the record
  kSecret,     // a text that is enciphered in the file
  kCommunity,  // a secret that may also be in the file as a plain text beginning with "public"
};

struct Field {
  const char *key;
  std::uint16_t offset;
  std::uint16_t width;
  Kind kind;
};

void tableAndRecordDiffer();  // no such function: a call in a constant expression stops the compiler

consteval Field checkedField(std::size_t expected, const char *key, std::size_t offset, std::size_t width, Kind kind) {
  if (offset != expected) {
    tableAndRecordDiffer();
  }
  return {key, static_cast<std::uint16_t>(offset), static_cast<std::uint16_t>(width), kind};
}

/// A line of a table: the offset that the layout fixes, and the record's member, which has the key's name.
#define SETTINGS_FIELD(offset, record, member, kind) \
  vexora::config::checkedField(offset, #member, offsetof(record, member), sizeof(record::member), kind)

struct Store {
  const char *module;  // in refusals
  const char *name;    // in messages
  const char *path;
  const char *defaultPath;
  const char *newPath;  // what a save writes and then moves into place, or null: it writes in place
  bool printsRestore;   // on standard output; messages of a missing file then leave out the default
  const char *version;  // the document's first member, or null
  const char *section;  // the member that holds the record
  std::span<const Field> fields;
  std::size_t recordSize;
  const char *list;  // the member that holds the alert destinations, or null
  std::span<const Field> listFields;
  std::size_t entrySize;
};

/// Fills the records from the file; `line` is the caller's, for the refusal of arguments. Returns the exported
/// functions' result.
int load(const Store &store, void *record, int recordSize, void *destinations = nullptr, int destinationsSize = 0,
         int line = __builtin_LINE());

/// Writes the records to the file; otherwise as load().
int save(const Store &store, const void *record, int recordSize, const void *destinations = nullptr,
         int destinationsSize = 0, int line = __builtin_LINE());

}  // namespace vexora::config
