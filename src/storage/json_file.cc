// SPDX-License-Identifier: Apache-2.0
//
// JSON documents as text files.

#include <json-c/json.h>

#include "base/json.h"
#include "base/owners.h"
#include "vexora/storage.h"

namespace {

json_object *readDocument(const char *path, char *(*readText)(const char *)) {
  const vexora::HeapBlock<char> text(readText(path));
  return text ? json_tokener_parse(text.get()) : nullptr;
}

int writeDocument(const char *path, json_object *object, int (*writeText)(const char *, const char *)) {
  return path != nullptr && object != nullptr ? writeText(path, vexora::wholeText(object, JSON_C_TO_STRING_SPACED))
                                              : -1;
}

}  // namespace

json_object *vexora_json_read_file(const char *path) { return readDocument(path, vexora_string_read_file); }

json_object *vexora_json_read_file_with_crc32_check(const char *path) {
  return readDocument(path, vexora_string_read_file_with_crc32_check);
}

int vexora_json_write_2_file(const char *path, json_object *object) {
  return writeDocument(path, object, vexora_string_write_2_file);
}

int vexora_json_write_2_file_with_crc32_check(const char *path, json_object *object) {
  return writeDocument(path, object, vexora_string_write_2_file_with_crc32_check);
}
