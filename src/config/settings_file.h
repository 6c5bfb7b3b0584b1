// SPDX-License-Identifier: Apache-2.0
//
// The one way in which settings travel between a packed record and a JSON file. A store is data: the file's names, and
// tables of fields in the order in which they stand in the file, which is also the order of reading. That order matters
// where fields are secret: a secret that cannot be deciphered ends the reading, so that it and those behind it stay
// empty.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "base/json.h"
#include "base/secret.h"
#include "firmware/aes.h"
#include "vexora/diag.h"

/// Logs a failure in the debug log. A macro so that the compiler checks the format.
#define LOG_SETTINGS(...) VexoraDebug(2, "IPMI", __VA_ARGS__)

namespace vexora::config {

enum class Kind : std::uint8_t {
  kInteger,    // little-endian in the record; of a number too large for it the low bits of the nearest 32-bit number
  kText,       // NUL-terminated in the record
  kSecret,     // a text that is enciphered in the file
  kCommunity,  // a secret that may also stand in the file as a plain text beginning with "public"
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
  const char *name;  // in messages
  const char *path;
  const char *defaultPath;
  const char *version;  // the document's first member, or null
  const char *section;  // the member that holds the record
  std::span<const Field> fields;
  std::size_t recordSize;
  const char *list;  // the member that holds the alert destinations, or null
  std::span<const Field> listFields;
  std::size_t entrySize;
};

/// The platform's cipher for secrets; its key is in memory for as long as this lives.
class Cipher {
 public:
  /// False when the platform has no key or initialisation vector to give.
  bool fetch();

  /// The cipher text of the text in a field of `width` bytes; null on failure.
  Json encipher(const char *field, std::size_t width) const;

  /// Deciphers a member into a zero-filled field, as much of it as fits; false, with the field untouched, on failure.
  bool decipher(json_object *member, char *field, std::size_t width) const;

 private:
  Secret<FIRMWARE_AES_KEY_SIZE> key_;
  Secret<FIRMWARE_AES_VECTOR_SIZE> vector_;
};

/// Prints the refusal of records or sizes on standard output.
void printRefusal(const char *module, const void *cfg, int cfgSize, const void *dests, int destsSize,
                  int line = __builtin_LINE());

/// Whether the store's file exists.
bool isThere(const Store &store);

/// The store's document as it is in the file; null when it can't be parsed, or had.
Json parseFile(const Store &store);

/// Fills the records from a document, or from the file, which is then parsed again. Returns the exported functions'
/// result.
int load(const Store &store, Json document, void *record, void *destinations);

/// The document of the records; null when memory is short or a secret cannot be enciphered. `cipher` may be null for a
/// store without secrets.
Json makeDocument(const Store &store, const void *record, const void *destinations, const Cipher *cipher);

}  // namespace vexora::config
