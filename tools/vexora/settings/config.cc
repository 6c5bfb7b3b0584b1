// SPDX-License-Identifier: Apache-2.0
//
// vexora config: shows, checks, compares and changes the settings of e-mail alerts, SNMP traps and the SNMP agent.
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <iomanip>
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
  std::string older;
  std::string newer;
};

void show(Session &session, const SettingsStore &store, const ConfigArguments &arguments) {
  Settings settings(store);
  settings.load(session, false);
  if (session.json) {
    session.answer(settings.document(arguments.secrets));
    return;
  }
  for (const Setting &setting : settings.all()) {
    std::cout << std::left << std::setw(20) << setting.name << setting.shown(arguments.secrets) << "\n";
  }
}

void check(Session &session, const SettingsStore &store) {
  Settings settings(store);
  settings.load(session, false);
  std::vector<Finding> findings;
  std::vector<std::string> undeciphered;
  for (const Setting &setting : settings.all()) {
    const std::string damage = setting.damage();
    const std::string reason = damage.empty() ? setting.finding() : damage;
    if (!session.root.empty() && setting.isUndeciphered()) {
      undeciphered.push_back(setting.name);
    } else if (!reason.empty()) {
      findings.push_back({setting.name, reason});
    }
  }
  session.answer(object({{"undeciphered", list(undeciphered)}}));
  for (const std::string &name : session.json ? std::vector<std::string>() : undeciphered) {
    std::cout << name << ": not checked, as only the board has the key to decipher it\n";
  }
  session.report(findings, std::string(store.path) + ": fine");
}

void diff(Session &session, const SettingsStore &store, const ConfigArguments &arguments) {
  reportDifferences(session, store, arguments.older.empty() ? session.path(store.defaultPath) : arguments.older,
                    arguments.newer.empty() ? session.path(store.path) : arguments.newer);
}

/// Saves. Without --force refuses to do so if a changed setting is wrong, or if a secret did not decipher: a save would
/// empty it.
void finish(Session &session, const SettingsStore &store, Settings &settings, const std::vector<std::string> &changed,
            const ConfigArguments &arguments) {
  std::vector<Finding> findings;
  for (const Setting &setting : settings.all()) {
    const bool isChanged = std::find(changed.begin(), changed.end(), setting.name) != changed.end();
    const std::string reason = setting.isUndeciphered()
                                   ? "in the file, but does not decipher here: a save would empty it"
                                   : std::string(isChanged ? setting.finding() : "");
    if (!reason.empty()) {
      findings.push_back({setting.name, reason});
    }
  }
  if (!findings.empty() && !arguments.force) {
    session.report(findings, "");
    std::cerr << "vexora: nothing was changed\n";
    return;
  }
  settings.save(session);
  session.report({}, "saved " + printable(session.path(store.path)));
}

const Setting &settingNamed(const std::vector<Setting> &all, const std::string &name) {
  const auto found = std::find_if(all.begin(), all.end(), [&](const Setting &setting) { return setting.name == name; });
  if (found == all.end()) {
    throw Failure(kUsage, "no field " + printable(name) + ": 'show' lists them");
  }
  return *found;
}

/// Reads a line of standard input, without echo on a terminal.
std::string readSecret(const std::string &name) {
  termios shown{};
  const bool isTyped = tcgetattr(STDIN_FILENO, &shown) == 0;
  if (isTyped) {
    termios hidden = shown;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSADRAIN, &hidden);
    std::cerr << name << ": ";
  }
  std::array<char, 256> line{};  // longer than any field
  std::cin.getline(line.data(), line.size());
  if (isTyped) {
    tcsetattr(STDIN_FILENO, TCSADRAIN, &shown);
    std::cerr << "\n";
  }
  if (std::cin.fail()) {
    throw Failure(kInaccessible, name + ": no line of up to 255 characters on standard input");
  }
  return line.data();
}

void set(Session &session, const SettingsStore &store, const ConfigArguments &arguments) {
  Settings settings(store);
  settings.load(session, true);
  std::vector<std::string> names;
  for (const std::string &change : arguments.changes) {
    const std::size_t equals = change.find('=');
    if (equals == std::string::npos) {
      throw Failure(kUsage, printable(change) + " is no FIELD=VALUE");
    }
    const std::vector<Setting> all = settings.all();
    const Setting &setting = settingNamed(all, change.substr(0, equals));
    const std::string value = change.substr(equals + 1);
    const std::string reason = setting.assign(value == "-" && setting.isSecret() ? readSecret(setting.name) : value);
    if (!reason.empty()) {
      throw Failure(kFinding, setting.name + ": " + reason + "; nothing was changed");
    }
    names.push_back(setting.name);
  }
  finish(session, store, settings, names, arguments);
}

void refuseUnknown(json_object *holder, std::span<const config::Field> fields, const std::string &place) {
  json_object_object_foreach(holder, key, value) {
    static_cast<void>(value);
    if (std::none_of(fields.begin(), fields.end(),
                     [&](const config::Field &field) { return field.key == std::string(key); })) {
      throw Failure(kFinding, place + " has no field " + printable(key) + "; nothing was changed");
    }
  }
}

void refuseUnknownMembers(const Json &document, const SettingsStore &store) {
  bool isEmpty = true;
  for (int entry = -1; entry <= (store.list == nullptr ? -1 : VEXORA_ALERT_DESTINATIONS); ++entry) {
    json_object *holder = holderIn(document, store, entry);
    if (holder != nullptr && entry == VEXORA_ALERT_DESTINATIONS) {
      throw Failure(kFinding, std::string(store.list) + " has more than four elements");
    }
    if (holder != nullptr) {
      entry < 0 ? refuseUnknown(holder, store.fields, store.section)
                : refuseUnknown(holder, store.listFields, store.list);
      isEmpty = false;
    }
  }
  if (isEmpty) {
    throw Failure(kFinding, std::string("the document has no ") + store.section);
  }
}

void import(Session &session, const SettingsStore &store, const ConfigArguments &arguments) {
  const Json document = Json::parse(readText(arguments.file), arguments.file);
  refuseUnknownMembers(document, store);
  Settings settings(store);
  settings.load(session, true);
  std::vector<std::string> names;
  for (const Setting &setting : settings.all()) {
    json_object *member = json_object_object_get(holderIn(document, store, setting.entry), setting.field->key);
    const std::string reason = member == nullptr ? "" : setting.assign(member);
    if (!reason.empty()) {
      throw Failure(kFinding, setting.name + ": " + reason + "; nothing was changed");
    }
    if (member != nullptr) {
      names.push_back(setting.name);
    }
  }
  finish(session, store, settings, names, arguments);
}

void addReaders(Command app, Session &session, const SettingsStore &store,
                const std::shared_ptr<ConfigArguments> &arguments) {
  const std::string command = std::string("vexora config ") + store.command;
  Command shown = app.add("show",
                          "Shows every field, secrets masked; with --json what 'import' takes, secrets "
                          "null. What begins with \"destN.\" belongs to the Nth destination.",
                          command + " show");
  shown.flag("--secrets", arguments->secrets, "Show communities and passwords in plain");
  shown.run([&session, &store, arguments] { show(session, store, *arguments); });
  app.add(
         "check",
         "Checks every field with the library's validators, and the file for what a load cuts, replaces or can't "
         "decipher. Each finding is named. With --root a secret that doesn't decipher is none: the key is the board's.",
         command + " check")
      .run([&session, &store] { check(session, store); });
  Command compared = app.add("diff",
                             "Shows what differs between two settings files, secrets masked. A difference makes the "
                             "exit status 1. Without NEW that is the board's own file, without OLD its default.",
                             command + " diff");
  compared.option("OLD", arguments->older, "The file before");
  compared.option("NEW", arguments->newer, "The file now");
  compared.run([&session, &store, arguments] { diff(session, store, *arguments); });
}

void addWriters(Command app, Session &session, const SettingsStore &store,
                const std::shared_ptr<ConfigArguments> &arguments) {
  const std::string command = std::string("vexora config ") + store.command;
  Command changed = app.add("set",
                            "Changes fields, after the library's validators have accepted the values. Numbers may "
                            "be given as their words, such as Enable or V3. The value \"-\" of a community or "
                            "password is read from standard input, a line for each. A missing file is restored "
                            "from its default first.",
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
    Command command = config.add(store.command, std::string("Settings of ") + store.title + ", " + store.path,
                                 std::string("vexora config ") + store.command + " check");
    command.needsCommand();
    addReaders(command, session, store, arguments);
    addWriters(command, session, store, arguments);
  }
}

}  // namespace vexora::tool
