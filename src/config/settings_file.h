// SPDX-License-Identifier: Apache-2.0
//
// Transfers settings between packed records and a JSON file. A store is data: the file's names, and tables of fields in
// the order of the file, which is also the order of reading. The order matters: a secret that can't be deciphered ends
// the reading, so it and the fields after it stay empty.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace vexora::config {

enum class Kind : std::uint8_t {
  kInteger,    // little-endian in the record; of a larger number the low bits of the nearest 32-bit number
  kText,       // NUL-terminated in the record
  kSecret,     // a text, enciphered in the file
  kCommunity,  // a secret; plain texts in the file that begin with "public" are accepted, too
};

struct Field {
  const char *key;
  std::uint16_t offset;
  std::uint16_t width;
  Kind kind;
};

void tableAndRecordDiffer();  // not constexpr: a call during constant evaluation is a compile error

consteval Field checkedField(std::size_t expected, const char *key, std::size_t offset, std::size_t width, Kind kind) {
  if (offset != expected) {
    tableAndRecordDiffer();
  }
  return {key, static_cast<std::uint16_t>(offset), static_cast<std::uint16_t>(width), kind};
}

/// A row of a table: the fixed offset, and the record's member, whose name is the key.
#define SETTINGS_FIELD(offset, record, member, kind) \
  vexora::config::checkedField(offset, #member, offsetof(record, member), sizeof(record::member), kind)

struct Store {
  const char *module;  // in refusals
  const char *name;    // in messages
  const char *path;
  const char *defaultPath;
  const char *newPath;  // written by a save and then moved into place; null: the save writes in place
  bool printsRestore;   // on standard output; messages of a missing file then leave out the default
  const char *version;  // the document's first member, or null
  const char *section;  // the member that holds the record
  std::span<const Field> fields;
  std::size_t recordSize;
  const char *list;  // the member that holds the alert destinations, or null
  std::span<const Field> listFields;
  std::size_t entrySize;
};

/// Fills the records from the file. `line` is the caller's, for the text of a refusal. Returns the result of the
/// exported function.
int load(const Store &store, void *record, int recordSize, void *destinations = nullptr, int destinationsSize = 0,
         int line = __builtin_LINE());

/// Writes the records to the file; otherwise like load().
int save(const Store &store, const void *record, int recordSize, const void *destinations = nullptr,
         int destinationsSize = 0, int line = __builtin_LINE());

}  // namespace vexora::config
