// SPDX-License-Identifier: Apache-2.0
//
// The values of the settings files' fields, and how they are shown. The library loads and saves; the tool reads the
// file only to find what a load cuts or replaces.
#pragma once

#include <string>
#include <vector>

#include "config/settings_layout.h"
#include "core/several.h"
#include "core/tool.h"
#include "settings/kinds.h"

namespace vexora::tool {

struct SettingsStore : config::Store {
  using Transfer = int(std::uint8_t *record, int size, std::uint8_t *list, int listSize);

  const char *command;
  const char *title;
  const char *change;  // example for "set"
  Transfer *load;
  Transfer *save;
};

std::span<const SettingsStore> settingsStores();

/// A field of the loaded settings.
struct Setting {
  std::string name;  // "SmtpPort", "dest1.EmailAddress"
  const config::Field *field;
  const Kind *kind;
  std::uint8_t *bytes;
  bool isNeeded;        // must not be empty
  int entry;            // index in the list, or -1
  json_object *member;  // of the file; null when missing
  bool mayLack;         // the file may lack it without a loss

  [[nodiscard]] std::int64_t number() const;
  [[nodiscard]] std::string text() const;
  [[nodiscard]] bool isEmpty() const;
  [[nodiscard]] bool isSecret() const;  // a password or community, enciphered or not
  [[nodiscard]] std::string shown(bool secrets) const;
  [[nodiscard]] Json json(bool secrets) const;
  /// Returns the file's value, deciphered.
  [[nodiscard]] std::string stored() const;
  /// Returns what is wrong with the value, "" if nothing.
  [[nodiscard]] std::string finding() const;
  /// Returns how a load changes the file's value, "" if it doesn't.
  [[nodiscard]] std::string damage() const;
  /// Returns whether the file has a secret that the load could not decipher.
  [[nodiscard]] bool isUndeciphered() const;
  /// Assigns a value. Returns the reason of a refusal, which leaves the setting untouched, else "".
  [[nodiscard]] std::string assign(const std::string &text) const;
  [[nodiscard]] std::string assign(json_object *value) const;
};

class Settings {
 public:
  explicit Settings(const SettingsStore &store);
  /// Reads another file's members but loads no values: only stored() is meaningful.
  Settings(const SettingsStore &store, const std::string &file);

  /// Loads the board's file. Without `mayRestore` a missing file is a Failure, else the library copies its default.
  void load(const Session &session, bool mayRestore);
  /// Saves, and loads again to check that the file is complete. Throws Failure.
  void save(const Session &session);

  [[nodiscard]] std::vector<Setting> all();
  [[nodiscard]] Json document(bool secrets);

 private:
  const SettingsStore &store_;
  std::vector<std::uint8_t> record_;
  std::vector<std::uint8_t> list_;
  Json file_;
};

/// Returns the store's section in a document (`entry` -1) or an entry of its list. Returns null when it is no object.
json_object *holderIn(const Json &document, const SettingsStore &store, int entry);

/// Reports the differences of two files without showing secrets.
void reportDifferences(Session &session, const SettingsStore &store, const std::string &before,
                       const std::string &after);

}  // namespace vexora::tool
