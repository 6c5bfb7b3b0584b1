// SPDX-License-Identifier: Apache-2.0
//
// vexora config: the settings of e-mail alerts, SNMP traps and the SNMP agent.
#include <algorithm>
#include <iostream>
#include <memory>

#include "settings/commands.h"
#include "settings/store.h"

namespace vexora::tool {
namespace {

struct ConfigArguments {
  bool secrets = false;
  bool force = false;
  std::string file;
  std::vector<std::string> changes;
};

/// The file as it is, cipher text and all, which is no UTF-8; null when it is no document.
Json rawDocument(const Session &session, const SettingsStore &store) {
  return {json_tokener_parse(readText(session.path(store.path)).c_str())};
}

std::vector<Finding> findingsIn(Settings &settings, const Json &raw, const SettingsStore &store) {
  std::vector<Finding> findings;
  for (const Setting &setting : settings.all()) {
    const std::string damage = damageOf(memberOf(raw, store, setting), setting);
    const std::string reason = damage.empty() ? setting.finding() : damage;
    if (!reason.empty()) {
      findings.push_back({setting.name, reason});
    }
  }
  return findings;
}

void show(Session &session, const SettingsStore &store, const ConfigArguments &arguments) {
  Settings settings(store);
  settings.load(session, false);
  if (session.json) {
    session.answer(settings.document(arguments.secrets));
    return;
  }
  std::size_t width = 0;
  for (const Setting &setting : settings.all()) {
    width = std::max(width, setting.name.size());
  }
  for (const Setting &setting : settings.all()) {
    std::cout << setting.name << std::string(width + 2 - setting.name.size(), ' ') << setting.shown(arguments.secrets)
              << "\n";
  }
}

void check(Session &session, const SettingsStore &store) {
  Settings settings(store);
  settings.load(session, false);
  session.report(findingsIn(settings, rawDocument(session, store), store), std::string(store.path) + ": fine");
}

/// Saves the changed settings unless one was refused. What lies in the file beyond the library's reach would be lost.
void finish(Session &session, const SettingsStore &store, Settings &settings, const std::vector<Finding> &findings,
            const ConfigArguments &arguments) {
  if (!findings.empty() && !arguments.force) {
    session.report(findings, "");
    std::cerr << "vexora: nothing was changed\n";
    return;
  }
  settings.save(session);
  session.report({}, "saved " + printable(session.path(store.path)));
}

/// Secrets that were in the file but did not decipher are empty now, and a save would make that last.
void keepLostSecrets(Settings &settings, const Json &raw, const SettingsStore &store, std::vector<Finding> &findings) {
  for (const Setting &setting : settings.all()) {
    if (setting.field->kind == SettingKind::kSecret && !damageOf(memberOf(raw, store, setting), setting).empty() &&
        memberOf(raw, store, setting) != nullptr) {
      findings.push_back({setting.name, "in the file, but does not decipher: a save would empty it"});
    }
  }
}

const Setting &settingNamed(const std::vector<Setting> &all, const std::string &name) {
  const auto found = std::find_if(all.begin(), all.end(), [&](const Setting &setting) { return setting.name == name; });
  if (found == all.end()) {
    throw Failure(kUsage, "no field " + printable(name) + ": 'show' lists them");
  }
  return *found;
}

void set(Session &session, const SettingsStore &store, const ConfigArguments &arguments) {
  Settings settings(store);
  settings.load(session, true);
  std::vector<Finding> findings;
  keepLostSecrets(settings, rawDocument(session, store), store, findings);
  std::vector<std::string> names;
  for (const std::string &change : arguments.changes) {
    const std::size_t equals = change.find('=');
    if (equals == std::string::npos) {
      throw Failure(kUsage, printable(change) + " is no FIELD=VALUE");
    }
    const std::vector<Setting> all = settings.all();
    const Setting &setting = settingNamed(all, change.substr(0, equals));
    const std::string reason = setting.assign(change.substr(equals + 1));
    if (!reason.empty()) {
      throw Failure(kFinding, setting.name + ": " + reason + "; nothing was changed");
    }
    names.push_back(setting.name);
  }
  // Once all are in: whether a field is needed may hang on another one.
  for (const Setting &setting : settings.all()) {
    if (std::find(names.begin(), names.end(), setting.name) != names.end() && !setting.finding().empty()) {
      findings.push_back({setting.name, setting.finding()});
    }
  }
  finish(session, store, settings, findings, arguments);
}

void refuseUnknown(json_object *holder, std::span<const SettingField> fields, const std::string &place) {
  json_object_object_foreach(holder, key, value) {
    static_cast<void>(value);
    if (std::none_of(fields.begin(), fields.end(),
                     [&](const SettingField &field) { return field.key == std::string(key); })) {
      throw Failure(kFinding, place + " has no field " + printable(key) + "; nothing was changed");
    }
  }
}

void refuseUnknownMembers(const Json &document, const SettingsStore &store) {
  json_object *section = json_object_object_get(document.get(), store.section);
  const std::string listName = store.list == nullptr ? "" : store.list;
  json_object *list = listName.empty() ? nullptr : json_object_object_get(document.get(), listName.c_str());
  if (!json_object_is_type(section, json_type_object) && !json_object_is_type(list, json_type_array)) {
    throw Failure(kFinding, std::string("the document has no ") + store.section);
  }
  if (json_object_is_type(section, json_type_object)) {
    refuseUnknown(section, store.fields, store.section);
  }
  const std::size_t count = json_object_is_type(list, json_type_array) ? json_object_array_length(list) : 0;
  if (count > 4) {
    throw Failure(kFinding, listName + " has more than four elements");
  }
  for (std::size_t i = 0; i < count; ++i) {
    json_object *entry = json_object_array_get_idx(list, i);
    if (json_object_is_type(entry, json_type_object)) {
      refuseUnknown(entry, store.listFields, listName);
    }
  }
}

void import(Session &session, const SettingsStore &store, const ConfigArguments &arguments) {
  const Json document = Json::parse(readText(arguments.file), arguments.file);
  if (!json_object_is_type(document.get(), json_type_object)) {
    throw Failure(kFinding, printable(arguments.file) + " is no object");
  }
  refuseUnknownMembers(document, store);
  Settings settings(store);
  settings.load(session, true);
  std::vector<Finding> findings;
  keepLostSecrets(settings, rawDocument(session, store), store, findings);
  for (const Setting &setting : settings.all()) {
    json_object *member = memberOf(document, store, setting);
    const std::string reason = member == nullptr ? "" : setting.assign(member);
    if (!reason.empty()) {
      throw Failure(kFinding, setting.name + ": " + reason + "; nothing was changed");
    }
  }
  for (const Setting &setting : settings.all()) {
    if (const std::string reason = setting.finding();
        !reason.empty() && memberOf(document, store, setting) != nullptr) {
      findings.push_back({setting.name, reason});
    }
  }
  finish(session, store, settings, findings, arguments);
}

void addReaders(Command app, Session &session, const SettingsStore &store,
                const std::shared_ptr<ConfigArguments> &arguments) {
  const std::string command = std::string("vexora config ") + store.name;
  Command shown = app.add("show",
                          "Shows every field, secrets masked; with --json what 'import' takes, secrets "
                          "null. What begins with \"destN.\" belongs to the Nth destination.",
                          command + " show");
  shown.flag("--secrets", arguments->secrets, "Show communities and passwords in plain");
  shown.run([&session, &store, arguments] { show(session, store, *arguments); });
  app.add("check",
          "Checks every field with the library's validators, and the file for what a load cuts, replaces or can't "
          "decipher. Each finding is named.",
          command + " check")
      .run([&session, &store] { check(session, store); });
}

void addWriters(Command app, Session &session, const SettingsStore &store,
                const std::shared_ptr<ConfigArguments> &arguments) {
  const std::string command = std::string("vexora config ") + store.name;
  Command changed = app.add("set",
                            "Changes fields, after the library's validators have accepted the values. Numbers may "
                            "be given as their words, such as Enable or V3. A missing file is restored from its "
                            "default first.",
                            command + " set " + store.change);
  std::vector<std::string> fields;
  for (const Setting &setting : Settings(store).all()) {
    fields.push_back(setting.name + "=");
  }
  changed.option("FIELD=VALUE", arguments->changes, "Fields as 'show' names them").required().proposes(fields);
  Command imported = app.add("import",
                             "Takes over the fields of a JSON document, as 'show --json' writes it; those that it "
                             "lacks or has as null stay as they are. All are taken or none.",
                             command + " show --json | " + command + " import -");
  imported.option("FILE", arguments->file, "File to read, - for standard input").required();
  for (Command writer : {changed, imported}) {
    writer.flag("--force", arguments->force,
                "Save values that the validators refuse, and lose secrets that don't decipher");
  }
  changed.run([&session, &store, arguments] { set(session, store, *arguments); });
  imported.run([&session, &store, arguments] { import(session, store, *arguments); });
}

}  // namespace

void addConfig(Command app, Session &session) {
  Command config =
      app.add("config", "Shows, checks and changes the settings of e-mail and SNMP.", "vexora config smtp show");
  config.needsCommand();
  for (const SettingsStore &store : settingsStores()) {
    const auto arguments = std::make_shared<ConfigArguments>();
    Command command = config.add(store.name, std::string("Settings of ") + store.title + ", " + store.path,
                                 std::string("vexora config ") + store.name + " check");
    command.needsCommand();
    addReaders(command, session, store, arguments);
    addWriters(command, session, store, arguments);
  }
}

}  // namespace vexora::tool
