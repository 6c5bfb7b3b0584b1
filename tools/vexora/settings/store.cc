// SPDX-License-Identifier: Apache-2.0
#include "settings/store.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include <firmware/aes.h>
#include <vexora/text.h>

namespace vexora::tool {
namespace {

constexpr const char *kMask = "********";
constexpr const char *kPassword = "password";  // masked, enciphered in the file or not

/// A kind of values, and the fields that hold them.
struct Values {
  const char *kind;  // as `vexora check` names it
  const char *keys[12];
  bool neededInUse = false;      // must not be empty while the record's first field, its switch, is on
  const char *onlyIn = nullptr;  // a section; null: all
};

constexpr Values kValues[] = {
    {"enable",
     {"SmtpEnable", "EnableSTARTTLS", "EnableSSLTLS", "SMTPAUTH", "HostName", "SerialNumber", "AssetTag", "Enabled",
      "SnmpV1Enable", "SnmpV2Enable", "SnmpV1V2SetEnable", "SnmpV3Enable"}},
    {"event-level", {"EventLevel", "EventLevelLimit"}},
    {"address", {"ServerAddr", "Destination"}, true},
    {"port", {"SmtpPort", "SmtpSecurePort", "port"}, true},
    {"mail-address", {"SenderAddr", "EmailAddress"}, true},
    {"harmless", {"Subject", "Description"}},
    {"smtp-username", {"UserName"}, false, config::kSmtp.section},
    {"username", {"UserName", "AUTHUserName"}},
    {kPassword, {"PassWord", "AUTHPwd", "PRIVPwd"}},
    {"trap-field", {"Community", "ReadOnlyCommunity", "ReadWriteCommunity"}},
    {"snmp-authentication", {"AUTHProtocol"}},
    {"snmp-privacy", {"PrivProtocol"}},
    {"trap-version", {"TrapVersion"}},
    {"trap-engine-id", {"EngineID"}},
    {"trap-sensor-type", {"DeviceType"}},
    {"host-id", {"HostID"}},
};

/// Returns the kind of a field of the record or of its list; null when the table has none.
constexpr const Values *valuesOf(const config::Store &store, const config::Field &field) {
  const auto isKey = [&](const char *key) { return key != nullptr && std::string_view(key) == field.key; };
  const auto *found = std::find_if(std::begin(kValues), std::end(kValues), [&](const Values &values) {
    return std::any_of(std::begin(values.keys), std::end(values.keys), isKey) &&
           (values.onlyIn == nullptr || values.onlyIn == std::string_view(store.section));
  });
  return found == std::end(kValues) ? nullptr : found;
}

constexpr bool allHaveValues(const config::Store &store) {
  const auto hasValues = [&](const config::Field &field) { return valuesOf(store, field) != nullptr; };
  return std::all_of(store.fields.begin(), store.fields.end(), hasValues) &&
         std::all_of(store.listFields.begin(), store.listFields.end(), hasValues);
}
static_assert(allHaveValues(config::kSmtp) && allHaveValues(config::kTrap) && allHaveValues(config::kAgent));

template <auto call, typename Record, typename Entry>
int transfer(std::uint8_t *record, int size, std::uint8_t *list, int listSize) {
  return call(reinterpret_cast<Record *>(record), size, reinterpret_cast<Entry *>(list), listSize);
}

template <auto call>
int transferAgent(std::uint8_t *record, int size, std::uint8_t * /*list*/, int /*listSize*/) {
  return call(reinterpret_cast<SnmpAgentCfgRecord *>(record), size);
}

constexpr SettingsStore kStores[] = {
    {config::kSmtp, "smtp", "e-mail alerts", "SmtpPort=587 EnableSTARTTLS=Enable dest1.EmailAddress=ops@example.com",
     transfer<VexoraGetSmtpTotalConfFromJson, SmtpCfgRecord, SmtpDestCfgRecord>,
     transfer<VexoraSetSmtpTotalConfToJson, SmtpCfgRecord, SmtpDestCfgRecord>},
    {config::kTrap, "trap", "SNMP traps", "TrapVersion=V3 dest1.Destination=192.0.2.7",
     transfer<VexoraGetSnmpTotalConfFromJson, SnmpTrapCfgRecord, SnmpTrapDestCfgRecord>,
     transfer<VexoraSetSnmpTotalConfToJson, SnmpTrapCfgRecord, SnmpTrapDestCfgRecord>},
    {config::kAgent, "agent", "the SNMP agent", "SnmpV3Enable=Enable",
     transferAgent<VexoraGetSnmpAgentTotalConfFromJson>, transferAgent<VexoraSetSnmpAgentTotalConfToJson>},
};

bool isNumber(const config::Field &field) { return field.kind == config::Kind::kInteger; }

bool isEnciphered(const config::Field &field) { return !isNumber(field) && field.kind != config::Kind::kText; }

/// Returns the largest number that fits a field; fields of four bytes are signed.
std::int64_t largest(const config::Field &field) {
  return field.width == 4 ? INT32_MAX : (std::int64_t{1} << (8 * field.width)) - 1;
}

std::string tooLong(const config::Field &field, std::size_t length) {
  return std::to_string(length) + " bytes, more than the " + std::to_string(field.width - 1) + " that it holds";
}

std::string assignNumber(const Setting &setting, std::int64_t number) {
  if (number < 0 || number > largest(*setting.field)) {
    return "not 0 to " + std::to_string(largest(*setting.field));
  }
  putLittleEndian({setting.bytes, setting.field->width}, static_cast<std::uint64_t>(number));
  return "";
}

std::string assignText(const Setting &setting, const std::string &text) {
  if (text.size() >= setting.field->width) {
    return tooLong(*setting.field, text.size());
  }
  if (text.find('\0') != std::string::npos) {
    return "has a NUL character";
  }
  std::fill_n(setting.bytes, setting.field->width, std::uint8_t{0});
  std::copy(text.begin(), text.end(), setting.bytes);
  return "";
}

std::string textOf(json_object *value) {
  return {json_object_get_string(value), static_cast<std::size_t>(json_object_get_string_len(value))};
}

std::string withWord(const Kind &kind, std::int64_t number) {
  const bool hasWord = number >= 0 && number < static_cast<std::int64_t>(kind.words.size());
  const char *word = hasWord ? kind.words[static_cast<std::size_t>(number)] : nullptr;
  return std::to_string(number) + (word == nullptr ? "" : std::string(" (") + word + ")");
}

/// Returns a secret's plain text, or nothing when it doesn't decipher.
std::optional<std::string> decipher(json_object *member) {
  const int length = json_object_get_string_len(member);
  std::uint8_t key[FIRMWARE_AES_KEY_SIZE];
  std::uint8_t vector[FIRMWARE_AES_VECTOR_SIZE];
  std::vector<std::uint8_t> plain(static_cast<std::size_t>(length) + FIRMWARE_AES_KEY_SIZE);
  int unused = 0;
  if (AES_GetEncryptKey(key, sizeof key) != 0 || AES_GetInitialVector(vector, sizeof vector) != 0 ||
      AES_DecryptData(reinterpret_cast<const std::uint8_t *>(json_object_get_string(member)), length, plain.data(),
                      &unused, key, vector) != 0) {
    return std::nullopt;
  }
  return reinterpret_cast<const char *>(plain.data());
}

/// Reads a settings file. Cipher text is not UTF-8, so the strict parser only finds the place of an error for Failure.
Json readDocument(const std::string &path) {
  std::string text = readText(path);
  Json document(json_tokener_parse(text.c_str()));
  if (text.empty()) {
    throw Failure(kFinding, printable(path) + ": empty");
  }
  if (document.get() == nullptr) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char byte) { return byte >= 0x80; }, '?');
    Json::parse(text, path);
  }
  return document;
}

}  // namespace

std::span<const SettingsStore> settingsStores() { return kStores; }

std::int64_t Setting::number() const {
  const std::uint64_t number = littleEndian({bytes, field->width});
  return field->width == 4 ? static_cast<std::int32_t>(number) : static_cast<std::int64_t>(number);
}

std::string Setting::text() const {
  const auto *text = reinterpret_cast<const char *>(bytes);
  return isNumber(*field) ? std::to_string(number()) : std::string(text, strnlen(text, field->width));
}

bool Setting::isSecret() const { return isEnciphered(*field) || kind->name == std::string_view(kPassword); }

bool Setting::isEmpty() const { return isNumber(*field) ? number() == 0 : *bytes == 0; }

std::string Setting::shown(bool secrets) const {
  if (isNumber(*field)) {
    return withWord(*kind, number());
  }
  return isUndeciphered()                       ? "(does not decipher here)"
         : isSecret() && !secrets && !isEmpty() ? kMask
                                                : printable(text());
}

Json Setting::json(bool secrets) const {
  if (isNumber(*field)) {
    return number();
  }
  return isUndeciphered() || (isSecret() && !secrets && !isEmpty()) ? Json() : Json(text());
}

std::string Setting::stored() const {
  if (isNumber(*field)) {
    return withWord(*kind, json_object_get_int64(member));
  }
  const std::string text = textOf(member);
  return isEnciphered(*field) ? decipher(member).value_or(text) : text;
}

std::string Setting::finding() const {
  if (isEmpty()) {
    return isNeeded ? "missing, although it is switched on" : "";
  }
  if (isNumber(*field) && !kind->words.empty()) {
    return static_cast<std::size_t>(number()) < kind->words.size()
               ? ""
               : "not 0 to " + std::to_string(kind->words.size() - 1);
  }
  return refusal(*kind, text());
}

std::string Setting::damage() const {
  if (member == nullptr) {
    return mayLack ? "" : "missing from the file";
  }
  if (!json_object_is_type(member, isNumber(*field) ? json_type_int : json_type_string)) {
    return "of another type, read as " + shown(false);
  }
  if (isNumber(*field)) {
    const std::int64_t stored = json_object_get_int64(member);
    return stored == number() ? "" : std::to_string(stored) + " in the file, read as " + shown(false);
  }
  if (isEnciphered(*field)) {
    return isUndeciphered() ? "in the file, but does not decipher" : "";
  }
  const std::string text = textOf(member);
  return text.size() >= field->width ? "cut: " + tooLong(*field, text.size()) : "";
}

bool Setting::isUndeciphered() const {
  return isEnciphered(*field) && isEmpty() && json_object_get_string_len(member) > 0 && decipher(member) != "";
}

std::string Setting::assign(const std::string &text) const {
  if (!isNumber(*field)) {
    return assignText(*this, text);
  }
  const auto word = numberOf(*kind, text);
  const auto number = word ? *word : parseNumber(text, largest(*field));
  if (!number) {
    return (kind->words.empty() ? "not " : "none of its words, and not ") + ("0 to " + std::to_string(largest(*field)));
  }
  return assignNumber(*this, *number);
}

std::string Setting::assign(json_object *value) const {
  if (isNumber(*field) && json_object_is_type(value, json_type_int)) {
    return assignNumber(*this, json_object_get_int64(value));
  }
  if (!json_object_is_type(value, json_type_string)) {
    return isNumber(*field) ? "neither a number nor a word" : "not a string";
  }
  return assign(textOf(value));
}

Settings::Settings(const SettingsStore &store)
    : store_(store), record_(store.recordSize), list_(store.entrySize * VEXORA_ALERT_DESTINATIONS) {}

Settings::Settings(const SettingsStore &store, const std::string &file) : Settings(store) {
  file_ = readDocument(file);
}

void Settings::load(const Session &session, bool mayRestore) {
  const std::string path = session.path(store_.path);
  const std::string restoring = "the next daemon to load it, and \"vexora config " + std::string(store_.command) +
                                " set\", copy " + store_.defaultPath;
  int result = -1;
  if (mayRestore || access(path.c_str(), F_OK) == 0) {
    captured([&] {
      result =
          store_.load(record_.data(), static_cast<int>(record_.size()), list_.data(), static_cast<int>(list_.size()));
    });
  }
  if (access(path.c_str(), F_OK) != 0) {
    throw Failure(kInaccessible, printable(path) + " is missing; " + restoring);
  }
  try {
    file_ = readDocument(path);
    if (result != 0) {
      throw Failure(
          kFinding,
          printable(path) + ": no " + store_.section +
              (store_.list == nullptr ? "" : std::string(", or ") + store_.list + " is no list of up to four"));
    }
  } catch (const Failure &failure) {
    throw Failure(failure.outcome(), failure.outcome() == kFinding
                                         ? failure.what() + ("; remove the file to have its default back: " + restoring)
                                         : failure.what());
  }
}

void Settings::save(const Session &session) {
  int result = -1;
  const std::string said = captured([&] {
    result =
        store_.save(record_.data(), static_cast<int>(record_.size()), list_.data(), static_cast<int>(list_.size()));
  });
  Settings saved(store_);
  if (result == 0) {
    saved.load(session, false);
  }
  if (result != 0 || saved.record_ != record_ || saved.list_ != list_) {
    throw Failure(kInaccessible, "could not write " + printable(session.path(store_.path)) + " whole" +
                                     (said.empty() ? "" : ": " + printable(said)));
  }
}

std::vector<Setting> Settings::all() {
  std::vector<Setting> all;
  json_object *list = store_.list == nullptr ? nullptr : json_object_object_get(file_.get(), store_.list);
  const int entries = json_object_is_type(list, json_type_array) ? static_cast<int>(json_object_array_length(list)) : 0;
  for (int entry = -1; entry < (store_.list == nullptr ? 0 : VEXORA_ALERT_DESTINATIONS); ++entry) {
    const auto record =
        entry < 0 ? std::span(record_) : std::span(list_).subspan(static_cast<std::size_t>(entry) * store_.entrySize);
    const auto fields = entry < 0 ? store_.fields : store_.listFields;
    json_object *holder = holderIn(file_, store_, entry);
    for (const config::Field &field : fields) {
      const Values &values = *valuesOf(store_, field);
      all.push_back({(entry < 0 ? "" : "dest" + std::to_string(entry + 1) + ".") + field.key, &field,
                     kindNamed(values.kind), &record[field.offset],
                     values.neededInUse && record[fields.front().offset] != 0, entry,
                     json_object_object_get(holder, field.key), entry >= entries});
    }
  }
  // A load stops at the first missing secret, which loses all secrets after it. Only trailing ones may be missing.
  bool isLast = true;
  std::for_each(all.rbegin(), all.rend(), [&isLast](Setting &setting) {
    if (isEnciphered(*setting.field)) {
      setting.mayLack = isLast;
      isLast = isLast && setting.member == nullptr;
    }
  });
  return all;
}

Json Settings::document(bool secrets) {
  Json section = object();
  std::vector<Json> entries(store_.list == nullptr ? 0 : VEXORA_ALERT_DESTINATIONS);
  std::generate(entries.begin(), entries.end(), [] { return object(); });
  for (const Setting &setting : all()) {
    Json &holder = setting.entry < 0 ? section : entries[static_cast<std::size_t>(setting.entry)];
    holder.add(setting.field->key, setting.json(secrets));
  }
  Json document = object({{store_.section, section}});
  if (store_.list != nullptr) {
    document.add(store_.list, list(entries));
  }
  return document;
}

json_object *holderIn(const Json &document, const SettingsStore &store, int entry) {
  json_object *holder = json_object_object_get(document.get(), entry < 0 ? store.section : store.list);
  if (entry >= 0) {
    const bool isList = json_object_is_type(holder, json_type_array);
    holder = isList ? json_object_array_get_idx(holder, static_cast<std::size_t>(entry)) : nullptr;
  }
  return json_object_is_type(holder, json_type_object) ? holder : nullptr;
}

void reportDifferences(Session &session, const SettingsStore &store, const std::string &before,
                       const std::string &after) {
  Settings old(store, before);
  Settings now(store, after);
  const std::vector<Setting> settings = old.all();
  std::vector<NamedValue> olds;
  std::vector<NamedValue> news;
  for (const Setting &setting : now.all()) {
    const Setting &was = settings[olds.size()];
    const bool isOther = was.stored() != setting.stored();
    const auto shown = [&](const Setting &one, const char *secret) {
      return one.isSecret() && !one.stored().empty() ? secret : "\"" + printable(one.stored()) + "\"";
    };
    olds.push_back({was.name, shown(was, "a secret")});
    news.push_back({setting.name, shown(setting, isOther ? "another secret" : "a secret")});
  }
  reportDifferences(session, olds, news);
}

}  // namespace vexora::tool
