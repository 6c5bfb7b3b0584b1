// SPDX-License-Identifier: Apache-2.0
//
// The settings files as tables: each field's place in the library's record, what it may hold, and how it is shown. The
// library loads and saves; the file itself is only read to see what a load cuts or replaces.
#pragma once

#include <string>
#include <vector>

#include "core/several.h"
#include "core/tool.h"
#include "settings/kinds.h"

namespace vexora::tool {

enum class SettingKind {
  kNumber,
  kText,
  kPassword,  // masked, but in the file as it is
  kSecret,    // masked, and enciphered in the file
};

struct SettingField {
  const char *key;
  std::size_t offset;
  std::uint32_t width;
  SettingKind kind;
  const char *value;         // its kind as `vexora check` names it
  bool neededInUse = false;  // must not be empty where the record's first field, its switch, is on
};

struct SettingsStore {
  const char *name;
  const char *title;
  const char *path;
  const char *change;  // an example for "set"
  const char *section;
  std::span<const SettingField> fields;
  std::size_t recordSize;
  const char *list;  // the member of the destinations, or null
  std::span<const SettingField> listFields;
  std::size_t entrySize;
  int (*load)(std::uint8_t *record, int size, std::uint8_t *list, int listSize);
  int (*save)(const std::uint8_t *record, int size, const std::uint8_t *list, int listSize);
};

std::span<const SettingsStore> settingsStores();

/// A field of the loaded settings.
struct Setting {
  std::string name;  // "SmtpPort", "dest1.EmailAddress"
  const SettingField *field;
  const Kind *kind;
  std::uint8_t *bytes;
  bool inUse;
  int entry;            // of the list, or -1
  json_object *member;  // of the file; null where it lacks it
  bool mayLack;         // without a loss

  [[nodiscard]] std::int64_t number() const;
  [[nodiscard]] std::string text() const;
  [[nodiscard]] bool isEmpty() const;
  [[nodiscard]] bool isSecret() const;  // a password or community, enciphered or not
  [[nodiscard]] std::string shown(bool secrets) const;
  [[nodiscard]] Json json(bool secrets) const;
  /// What the file has, in plain.
  [[nodiscard]] std::string stored() const;
  /// What is wrong with the value; empty when nothing is.
  [[nodiscard]] std::string finding() const;
  /// What a load makes of a member that it can't take as it is; empty when it takes it.
  [[nodiscard]] std::string damage() const;
  /// Whether the file has a secret that the load could not decipher.
  [[nodiscard]] bool isUndeciphered() const;
  /// Puts a value in; returns why not when it doesn't fit, and changes nothing then.
  [[nodiscard]] std::string assign(const std::string &text) const;
  [[nodiscard]] std::string assign(json_object *value) const;
};

class Settings {
 public:
  explicit Settings(const SettingsStore &store);
  /// Of another file, without its values.
  Settings(const SettingsStore &store, const std::string &file);

  /// Loads the file, which has to be there unless it may be restored from its default; throws Failure.
  void load(const Session &session, bool mayRestore);
  /// Saves, and loads again to see that the file has it all; throws Failure.
  void save(const Session &session);

  [[nodiscard]] std::vector<Setting> all();
  [[nodiscard]] Json document(bool secrets);

 private:
  const SettingsStore &store_;
  std::vector<std::uint8_t> record_;
  std::vector<std::uint8_t> list_;
  Json file_;
};

/// What the store's section or an entry of its list is in a document; null when there is no such object.
json_object *holderIn(const Json &document, const SettingsStore &store, int entry);

/// The board's factory file.
std::string defaultOf(const SettingsStore &store);

/// What differs between two files, secrets kept.
void reportDifferences(Session &session, const SettingsStore &store, const std::string &before,
                       const std::string &after);

}  // namespace vexora::tool
