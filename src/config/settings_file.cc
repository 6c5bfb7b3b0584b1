// SPDX-License-Identifier: Apache-2.0
//
// The settings of e-mail alerts, SNMP traps and the SNMP agent. A load assembles each record in its own buffer and copies
// it out whole. A save of SNMP settings writes a new file and moves it into place, so that a load sees the whole old file
// or the whole new one. Buffers that may contain a secret are wiped on every way out; only json-c's own copy of a plain
// password is out of reach.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <utility>

#include "base/json.h"
#include "base/medium.h"
#include "base/report.h"
#include "base/secret.h"
#include "config/settings_layout.h"
#include "firmware/aes.h"
#include "firmware/unix.h"
#include "vexora/config.h"
#include "vexora/diag.h"

namespace vexora::config {
namespace {

constexpr int kParseAttempts = 3;
constexpr std::size_t kMaxRecord = sizeof(SmtpCfgRecord);
constexpr std::size_t kMaxList = sizeof(SmtpDestCfgRecord[VEXORA_ALERT_DESTINATIONS]);
constexpr std::size_t kMaxSecret = 20;
constexpr std::size_t kBlockSize = 16;

/// Returns the size of the cipher text in the file: 1 to 16 bytes more than the plain text, in whole blocks.
constexpr std::size_t storedLength(std::size_t plain) { return plain / kBlockSize * kBlockSize + kBlockSize; }

/// Returns a member of an object; null when it is missing or JSON null, or when `object` is no object.
json_object *member(json_object *object, const char *key) {
  json_object *found = nullptr;
  static_cast<void>(json_object_object_get_ex(object, key, &found));
  return found;
}

/// Finds an object's members in the order of the library's own files: each is then the next one. Only another order
/// costs searches.
class Members {
 public:
  explicit Members(json_object *object) : object_(object) {
    if (const lh_table *const table = json_object_get_object(object); table != nullptr) {
      next_ = table->head;
    }
  }

  json_object *take(const char *key) {
    if (next_ == nullptr || std::strcmp(static_cast<const char *>(next_->k), key) != 0) {
      return member(object_, key);
    }
    return static_cast<json_object *>(const_cast<void *>(std::exchange(next_, next_->next)->v));
  }

 private:
  json_object *object_;
  const lh_entry *next_ = nullptr;
};

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

/// Copies as much as fits into a zero-filled field, and leaves the last byte zero.
void readText(const char *text, char *field, std::size_t width) {
  if (text != nullptr) {
    std::memcpy(field, text, strnlen(text, width - 1));
  }
}

/// Returns the length of a field's text, limited to what a load returns.
std::size_t textLength(const char *field, std::size_t width) { return strnlen(field, width - 1); }

bool isSecret(const Field &field) { return field.kind == Kind::kSecret || field.kind == Kind::kCommunity; }

/// The firmware's cipher for secrets. The key is in memory during its lifetime.
class Cipher {
 public:
  /// Returns false when there are secrets but no key or initialisation vector is available.
  bool fetchFor(std::span<const Field> fields) {
    return std::none_of(fields.begin(), fields.end(), isSecret) ||
           (AES_GetEncryptKey(key_.data(), FIRMWARE_AES_KEY_SIZE) == 0 &&
            AES_GetInitialVector(vector_.data(), FIRMWARE_AES_VECTOR_SIZE) == 0);
  }

  /// Returns the cipher text of a field; null on failure. The firmware may leave `unused` unset.
  Json encipher(const char *field, std::size_t width) const {
    static_assert(storedLength(kMaxSecret) <= 128);
    const std::size_t length = textLength(field, width);
    std::array<std::uint8_t, 128> text{};
    int unused = 0;
    if (AES_EncryptData(reinterpret_cast<const std::uint8_t *>(field), static_cast<int>(length), text.data(), &unused,
                        key_.data(), vector_.data()) != 0) {
      return nullptr;
    }
    return Json(json_object_new_string_len(reinterpret_cast<const char *>(text.data()),
                                           static_cast<int>(storedLength(length))));
  }

  /// Deciphers a member into a zero-filled field, cut to its size; returns false, with the field untouched, on failure.
  bool decipher(json_object *member, char *field, std::size_t width) const {
    const int length = json_object_get_string_len(member);
    if (length <= 0) {
      return false;
    }
    // The text is hostile and of any length. The firmware may write whole blocks, or the longest secret for a short
    // text: neither may reach the last byte, which is the terminator.
    SecretBlock plain(storedLength(static_cast<std::size_t>(length) + kMaxSecret));
    int unused = 0;
    if (!plain || AES_DecryptData(reinterpret_cast<const std::uint8_t *>(json_object_get_string(member)), length,
                                  plain.data(), &unused, key_.data(), vector_.data()) != 0) {
      return false;
    }
    readText(reinterpret_cast<const char *>(plain.data()), field, width);
    return true;
  }

 private:
  Secret<FIRMWARE_AES_KEY_SIZE> key_;
  Secret<FIRMWARE_AES_VECTOR_SIZE> vector_;
};

bool isPublic(json_object *value) {
  const char *const text = json_object_get_string(value);
  return text != nullptr && std::strncmp(text, "public", 6) == 0;
}

/// Reads one field; returns false for a secret that can't be deciphered.
bool readField(json_object *value, const Field &field, std::uint8_t *record, const Cipher *cipher) {
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

/// Reads the fields up to the first secret that can't be deciphered; no field without a key.
void readRecord(json_object *section, const Store &store, std::uint8_t *record) {
  Cipher cipher;
  if (!cipher.fetchFor(store.fields)) {
    return;
  }
  Members members(section);
  for (const Field &field : store.fields) {
    if (!readField(members.take(field.key), field, record, &cipher)) {
      return;
    }
  }
}

/// Reads the alert destinations; returns false, and logs the failure, when there is no valid list.
bool readList(json_object *root, const Store &store, void *destinations) {
  json_object *const list = member(root, store.list);
  if (!json_object_is_type(list, json_type_array)) {
    VexoraDebug(kError, kSettingsLog, "Get the %s struct from Json failed.", store.list);
    return false;
  }
  const std::size_t length = json_object_array_length(list);
  if (length > VEXORA_ALERT_DESTINATIONS) {
    VexoraDebug(kError, kSettingsLog, "Get the %s length from Json error.", store.list);
    return false;
  }
  std::array<std::uint8_t, kMaxList> entries{};
  for (std::size_t i = 0; i < length; ++i) {
    Members members(json_object_array_get_idx(list, i));
    for (const Field &field : store.listFields) {
      readField(members.take(field.key), field, entries.data() + i * store.entrySize, nullptr);
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
      return Json(json_object_new_string_len(text, static_cast<int>(textLength(text, field.width))));
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

/// Returns the records' document; null when memory is short or a secret can't be enciphered.
Json makeDocument(const Store &store, const void *record, const void *destinations, const Cipher &cipher) {
  Json root(json_object_new_object());
  if (store.version != nullptr && !addMember(root.get(), "Version", Json(json_object_new_string(store.version)))) {
    return nullptr;
  }
  if (!addMember(root.get(), store.section,
                 newRecord(store.fields, static_cast<const std::uint8_t *>(record), &cipher))) {
    return nullptr;
  }
  if (store.list != nullptr &&
      !addMember(root.get(), store.list, newList(store, static_cast<const std::uint8_t *>(destinations)))) {
    return nullptr;
  }
  // Serialised once here: the writer then needs no more memory, and short memory never costs a file.
  return wholeText(root.get(), JSON_C_TO_STRING_PLAIN) == nullptr ? nullptr : std::move(root);
}

/// Returns whether the arguments are the store's records; prints a refusal on standard output.
bool accepts(const Store &store, const void *record, int recordSize, const void *destinations, int destinationsSize,
             int line) {
  const bool hasList = store.list != nullptr;
  if (record != nullptr && recordSize == static_cast<int>(store.recordSize) &&
      (!hasList || (destinations != nullptr &&
                    destinationsSize == static_cast<int>(VEXORA_ALERT_DESTINATIONS * store.entrySize)))) {
    return true;
  }
  std::printf(hasList ? "%s(%d)Invalid input parameters!%p, %d, %p, %d\n" : "%s(%d)Invalid input parameters!%p, %d\n",
              store.module, line, record, recordSize, destinations, destinationsSize);
  return false;
}

bool isThere(const Store &store) { return access(store.path, F_OK) == 0; }

/// Copies the default to the place of a missing file.
bool restore(const Store &store) {
  if (store.printsRestore) {
    std::puts("=====11111");
  }
  static_cast<void>(copyFile(store.defaultPath, store.path));
  if (store.printsRestore) {
    std::printf("=====%sjsonfilepath:%s\n", store.name, store.path);
  }
  if (isThere(store)) {
    return true;
  }
  if (store.printsRestore) {
    VexoraDebug(kError, kSettingsLog, "The %s configure file %s not exist.", store.name, store.path);
  } else {
    VexoraDebug(kError, kSettingsLog, "The %s configure file %s and %s not exist.", store.name, store.path,
                store.defaultPath);
  }
  return false;
}

Json parse(const Store &store) {
  Json document;
  for (int attempt = 0; attempt < kParseAttempts && !document; ++attempt) {
    document.reset(json_object_from_file(store.path));
  }
  return document;
}

/// Fills the records from the file. `line` is the caller's, for the text of a refusal. Returns the result of the
/// exported function.
int load(const Store &store, void *record, int recordSize, void *destinations = nullptr, int destinationsSize = 0,
         int line = __builtin_LINE()) {
  if (!accepts(store, record, recordSize, destinations, destinationsSize, line) ||
      (!isThere(store) && !restore(store))) {
    return -1;
  }
  const Json document = parse(store);
  if (!document) {
    VexoraDebug(kError, kSettingsLog, "Get the total %s configure struct from Json failed.", store.name);
    return -1;
  }
  json_object *const section = member(document.get(), store.section);
  if (section == nullptr) {
    VexoraDebug(kError, kSettingsLog, "Get the %s struct from Json failed.", store.section);
    return -1;
  }
  Secret<kMaxRecord> assembled;
  readRecord(section, store, assembled.data());
  std::memcpy(record, assembled.data(), store.recordSize);
  return store.list == nullptr || readList(document.get(), store, destinations) ? 0 : -1;
}

/// Writes the records to the file; otherwise like load().
int save(const Store &store, const void *record, int recordSize, const void *destinations = nullptr,
         int destinationsSize = 0, int line = __builtin_LINE()) {
  Cipher cipher;
  if (!cipher.fetchFor(store.fields) || !accepts(store, record, recordSize, destinations, destinationsSize, line)) {
    return -1;
  }
  const Json document = makeDocument(store, record, destinations, cipher);
  if (!document) {
    return -1;
  }
  if (store.newPath == nullptr) {
    static_cast<void>(json_object_to_file(store.path, document.get()));
    return 0;
  }
  separate(store.newPath, store.path);
  static_cast<void>(json_object_to_file(store.newPath, document.get()));
  static_cast<void>(moveFile(store.newPath, store.path));
  return 0;
}

}  // namespace
}  // namespace vexora::config

using namespace vexora::config;

int VexoraGetSmtpTotalConfFromJson(SmtpCfgRecord *cfg, int cfgSize, SmtpDestCfgRecord *dests, int destsSize) {
  return load(kSmtp, cfg, cfgSize, dests, destsSize);
}

int VexoraSetSmtpTotalConfToJson(const SmtpCfgRecord *cfg, int cfgSize, const SmtpDestCfgRecord *dests, int destsSize) {
  return save(kSmtp, cfg, cfgSize, dests, destsSize);
}

int VexoraGetSnmpTotalConfFromJson(SnmpTrapCfgRecord *cfg, int cfgSize, SnmpTrapDestCfgRecord *dests, int destsSize) {
  return load(kTrap, cfg, cfgSize, dests, destsSize);
}

int VexoraSetSnmpTotalConfToJson(const SnmpTrapCfgRecord *cfg, int cfgSize, const SnmpTrapDestCfgRecord *dests,
                                 int destsSize) {
  return save(kTrap, cfg, cfgSize, dests, destsSize);
}

int VexoraGetSnmpAgentTotalConfFromJson(SnmpAgentCfgRecord *cfg, int cfgSize) { return load(kAgent, cfg, cfgSize); }

int VexoraSetSnmpAgentTotalConfToJson(const SnmpAgentCfgRecord *cfg, int cfgSize) { return save(kAgent, cfg, cfgSize); }
