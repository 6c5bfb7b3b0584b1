// SPDX-License-Identifier: Apache-2.0
//
// Loading and building of settings documents. A load assembles each record in a buffer of its own and hands it over
// whole. Buffers that may hold a secret are wiped, whichever way a function ends; json-c's own copy of a password that
// its file holds in plain is out of reach.

#include "config/settings_file.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "vexora/config.h"

namespace vexora::config {
namespace {

constexpr int kParseAttempts = 3;  // with the one whose outcome load() is given
constexpr std::size_t kLongestRecord = sizeof(SmtpCfgRecord);
constexpr std::size_t kLongestList = sizeof(SmtpDestCfgRecord[VEXORA_ALERT_DESTINATIONS]);
constexpr std::size_t kLongestSecret = 20;
constexpr std::size_t kBlockSize = 16;

/// Members of an object; null for a missing one, for a JSON null, and for anything that is no object.
json_object *member(json_object *object, const char *key) {
  json_object *found = nullptr;
  static_cast<void>(json_object_object_get_ex(object, key, &found));
  return found;
}

void readInteger(json_object *value, std::uint8_t *field, std::size_t width) {
  auto rest = static_cast<std::uint32_t>(json_object_get_int(value));
  for (std::size_t i = 0; i < width; ++i, rest >>= 8) {
    field[i] = static_cast<std::uint8_t>(rest);
  }
}

Json newInteger(const std::uint8_t *field, std::size_t width) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < width; ++i) {
    value |= std::uint32_t{field[i]} << (8 * i);
  }
  return Json(json_object_new_int(static_cast<std::int32_t>(value)));
}

/// Copies what fits into a zero-filled field and leaves its last byte zero.
void readText(const char *text, char *field, std::size_t width) {
  if (text != nullptr) {
    std::memcpy(field, text, strnlen(text, width - 1));
  }
}

/// Length of a field's text, never more than a load gives back.
int textLength(const char *field, std::size_t width) { return static_cast<int>(strnlen(field, width - 1)); }

bool isPublic(json_object *value) {
  const char *const text = json_object_get_string(value);
  return text != nullptr && std::strncmp(text, "public", 6) == 0;
}

/// Reads one field; false when it is a secret that cannot be had.
bool readField(json_object *section, const Field &field, std::uint8_t *record, const Cipher *cipher) {
  json_object *const value = member(section, field.key);
  std::uint8_t *const bytes = record + field.offset;
  char *const text = reinterpret_cast<char *>(bytes);
  switch (field.kind) {
    case Kind::kInteger:
      readInteger(value, bytes, field.width);
      return true;
    case Kind::kCommunity:
      if (!isPublic(value)) {
        return cipher->decipher(value, text, field.width);
      }
      [[fallthrough]];
    case Kind::kText:
      readText(json_object_get_string(value), text, field.width);
      return true;
    case Kind::kSecret:
      return cipher->decipher(value, text, field.width);
  }
  return true;
}

bool hasSecrets(std::span<const Field> fields) {
  return std::any_of(fields.begin(), fields.end(), [](const Field &field) { return field.kind >= Kind::kSecret; });
}

/// Reads the fields up to the first secret that cannot be had; none when the cipher has no key.
void readRecord(json_object *section, const Store &store, std::uint8_t *record) {
  Cipher cipher;
  if (hasSecrets(store.fields) && !cipher.fetch()) {
    return;
  }
  for (const Field &field : store.fields) {
    if (!readField(section, field, record, &cipher)) {
      return;
    }
  }
}

/// Reads the alert destinations; false, with the failure logged, when their list is not one.
bool readList(json_object *root, const Store &store, void *destinations) {
  json_object *const list = member(root, store.list);
  if (!json_object_is_type(list, json_type_array)) {
    LOG_SETTINGS("Get the %s struct from Json failed.", store.list);
    return false;
  }
  const std::size_t length = json_object_array_length(list);
  if (length > VEXORA_ALERT_DESTINATIONS) {
    LOG_SETTINGS("Get the %s length from Json error.", store.list);
    return false;
  }
  std::array<std::uint8_t, kLongestList> entries{};
  for (std::size_t i = 0; i < length; ++i) {
    json_object *const element = json_object_array_get_idx(list, i);
    for (const Field &field : store.listFields) {
      readField(element, field, entries.data() + i * store.entrySize, nullptr);
    }
  }
  std::memcpy(destinations, entries.data(), VEXORA_ALERT_DESTINATIONS * store.entrySize);
  return true;
}

Json newField(const Field &field, const std::uint8_t *record, const Cipher *cipher) {
  const std::uint8_t *const bytes = record + field.offset;
  const char *const text = reinterpret_cast<const char *>(bytes);
  switch (field.kind) {
    case Kind::kInteger:
      return newInteger(bytes, field.width);
    case Kind::kText:
      return Json(json_object_new_string_len(text, textLength(text, field.width)));
    case Kind::kSecret:
    case Kind::kCommunity:
      return cipher->encipher(text, field.width);
  }
  return nullptr;
}

Json newRecord(std::span<const Field> fields, const std::uint8_t *record, const Cipher *cipher) {
  Json object(json_object_new_object());
  const bool whole = std::all_of(fields.begin(), fields.end(), [&](const Field &field) {
    return addMember(object.get(), field.key, newField(field, record, cipher));
  });
  return whole ? std::move(object) : nullptr;
}

Json newList(const Store &store, const std::uint8_t *entries) {
  Json list(json_object_new_array());
  for (std::size_t i = 0; i < VEXORA_ALERT_DESTINATIONS; ++i) {
    if (!appendElement(list.get(), newRecord(store.listFields, entries + i * store.entrySize, nullptr))) {
      return nullptr;
    }
  }
  return list;
}

}  // namespace

bool Cipher::fetch() {
  return AES_GetEncryptKey(key_.data(), FIRMWARE_AES_KEY_SIZE) == 0 &&
         AES_GetInitialVector(vector_.data(), FIRMWARE_AES_VECTOR_SIZE) == 0;
}

Json Cipher::encipher(const char *field, std::size_t width) const {
  static_assert(kLongestSecret / kBlockSize * kBlockSize + kBlockSize <= 128);
  std::array<std::uint8_t, 128> text{};
  int length = 0;
  if (AES_EncryptData(reinterpret_cast<const std::uint8_t *>(field), textLength(field, width), text.data(), &length,
                      key_.data(), vector_.data()) != 0) {
    return nullptr;
  }
  return Json(json_object_new_string_len(reinterpret_cast<const char *>(text.data()), length));
}

bool Cipher::decipher(json_object *member, char *field, std::size_t width) const {
  const int length = json_object_get_string_len(member);
  if (length <= 0) {
    return false;
  }
  // As long as a foreign file likes: the plain text is shorter than this, and the byte behind it stays zero.
  SecretBlock plain(static_cast<std::size_t>(length) + 1);
  int plainLength = 0;
  if (!plain || AES_DecryptData(reinterpret_cast<const std::uint8_t *>(json_object_get_string(member)), length,
                                plain.data(), &plainLength, key_.data(), vector_.data()) != 0) {
    return false;
  }
  readText(reinterpret_cast<const char *>(plain.data()), field, width);
  return true;
}

void printRefusal(const char *module, const void *cfg, int cfgSize, const void *dests, int destsSize, int line) {
  std::printf("%s(%d)Invalid input parameters!%p, %d, %p, %d\n", module, line, cfg, cfgSize, dests, destsSize);
}

bool isThere(const Store &store) { return access(store.path, F_OK) == 0; }

Json parseFile(const Store &store) { return Json(json_object_from_file(store.path)); }

int load(const Store &store, Json document, void *record, void *destinations) {
  for (int attempt = 1; attempt < kParseAttempts && !document; ++attempt) {
    document = parseFile(store);
  }
  if (!document) {
    LOG_SETTINGS("Get the total %s configure struct from Json failed.", store.name);
    return -1;
  }
  json_object *const section = member(document.get(), store.section);
  if (section == nullptr) {
    LOG_SETTINGS("Get the %s struct from Json failed.", store.section);
    return -1;
  }
  Secret<kLongestRecord> assembled;
  readRecord(section, store, assembled.data());
  std::memcpy(record, assembled.data(), store.recordSize);
  return store.list == nullptr || readList(document.get(), store, destinations) ? 0 : -1;
}

Json makeDocument(const Store &store, const void *record, const void *destinations, const Cipher *cipher) {
  Json root(json_object_new_object());
  if (store.version != nullptr && !addMember(root.get(), "Version", Json(json_object_new_string(store.version)))) {
    return nullptr;
  }
  if (!addMember(root.get(), store.section,
                 newRecord(store.fields, static_cast<const std::uint8_t *>(record), cipher))) {
    return nullptr;
  }
  if (store.list != nullptr &&
      !addMember(root.get(), store.list, newList(store, static_cast<const std::uint8_t *>(destinations)))) {
    return nullptr;
  }
  // Made here once, so that the writer has its room already and a short memory never costs a file.
  return wholeText(root.get(), JSON_C_TO_STRING_PLAIN) == nullptr ? nullptr : std::move(root);
}

}  // namespace vexora::config
