// SPDX-License-Identifier: Apache-2.0
#include "settings/store.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include <firmware/aes.h>
#include <vexora/config.h>
#include <vexora/text.h>

namespace vexora::tool {
namespace {

constexpr const char *kMask = "********";

#define FIELD(record, member, kind) #member, offsetof(record, member), sizeof(record::member), SettingKind::kind

constexpr SettingField kSmtpFields[] = {
    {FIELD(SmtpCfgRecord, SmtpEnable, kNumber), "enable"},
    {FIELD(SmtpCfgRecord, ServerAddr, kText), "address", true},
    {FIELD(SmtpCfgRecord, SmtpPort, kNumber), "port", true},
    {FIELD(SmtpCfgRecord, SmtpSecurePort, kNumber), "port", true},
    {FIELD(SmtpCfgRecord, EnableSTARTTLS, kNumber), "enable"},
    {FIELD(SmtpCfgRecord, EnableSSLTLS, kNumber), "enable"},
    {FIELD(SmtpCfgRecord, SMTPAUTH, kNumber), "enable"},
    {FIELD(SmtpCfgRecord, UserName, kText), "smtp-username"},
    {FIELD(SmtpCfgRecord, PassWord, kPassword), "password"},
    {FIELD(SmtpCfgRecord, SenderAddr, kText), "mail-address", true},
    {FIELD(SmtpCfgRecord, Subject, kText), "harmless"},
    {FIELD(SmtpCfgRecord, HostName, kNumber), "enable"},
    {FIELD(SmtpCfgRecord, SerialNumber, kNumber), "enable"},
    {FIELD(SmtpCfgRecord, AssetTag, kNumber), "enable"},
    {FIELD(SmtpCfgRecord, EventLevel, kNumber), "event-level"},
};

constexpr SettingField kRecipientFields[] = {
    {FIELD(SmtpDestCfgRecord, Enabled, kNumber), "enable"},
    {FIELD(SmtpDestCfgRecord, EmailAddress, kText), "mail-address", true},
    {FIELD(SmtpDestCfgRecord, Description, kText), "harmless"},
};

constexpr SettingField kTrapFields[] = {
    {FIELD(SnmpTrapCfgRecord, TrapVersion, kNumber), "trap-version"},
    {FIELD(SnmpTrapCfgRecord, EventLevelLimit, kNumber), "event-level"},
    {FIELD(SnmpTrapCfgRecord, HostID, kText), "host-id"},
    {FIELD(SnmpTrapCfgRecord, UserName, kText), "username"},
    {FIELD(SnmpTrapCfgRecord, AUTHProtocol, kText), "snmp-authentication"},
    {FIELD(SnmpTrapCfgRecord, PrivProtocol, kText), "snmp-privacy"},
    {FIELD(SnmpTrapCfgRecord, EngineID, kText), "trap-engine-id"},
    {FIELD(SnmpTrapCfgRecord, DeviceType, kNumber), "trap-sensor-type"},
    {FIELD(SnmpTrapCfgRecord, Community, kSecret), "trap-field"},
    {FIELD(SnmpTrapCfgRecord, AUTHPwd, kSecret), "password"},
    {FIELD(SnmpTrapCfgRecord, PRIVPwd, kSecret), "password"},
};

constexpr SettingField kDestinationFields[] = {
    {FIELD(SnmpTrapDestCfgRecord, Enabled, kNumber), "enable"},
    {FIELD(SnmpTrapDestCfgRecord, Destination, kText), "address", true},
    {FIELD(SnmpTrapDestCfgRecord, port, kNumber), "port", true},
};

constexpr SettingField kAgentFields[] = {
    {FIELD(SnmpAgentCfgRecord, SnmpV1Enable, kNumber), "enable"},
    {FIELD(SnmpAgentCfgRecord, SnmpV2Enable, kNumber), "enable"},
    {FIELD(SnmpAgentCfgRecord, SnmpV1V2SetEnable, kNumber), "enable"},
    {FIELD(SnmpAgentCfgRecord, SnmpV3Enable, kNumber), "enable"},
    {FIELD(SnmpAgentCfgRecord, AUTHProtocol, kNumber), "snmp-authentication"},
    {FIELD(SnmpAgentCfgRecord, PrivProtocol, kNumber), "snmp-privacy"},
    {FIELD(SnmpAgentCfgRecord, AUTHUserName, kText), "username"},
    {FIELD(SnmpAgentCfgRecord, ReadOnlyCommunity, kSecret), "trap-field"},
    {FIELD(SnmpAgentCfgRecord, ReadWriteCommunity, kSecret), "trap-field"},
    {FIELD(SnmpAgentCfgRecord, AUTHPwd, kSecret), "password"},
    {FIELD(SnmpAgentCfgRecord, PRIVPwd, kSecret), "password"},
};

#undef FIELD

template <auto call, typename Record, typename Entry>
int withList(std::uint8_t *record, int size, std::uint8_t *list, int listSize) {
  return call(reinterpret_cast<Record *>(record), size, reinterpret_cast<Entry *>(list), listSize);
}

template <auto call, typename Record, typename Entry>
int withListOut(const std::uint8_t *record, int size, const std::uint8_t *list, int listSize) {
  return call(reinterpret_cast<const Record *>(record), size, reinterpret_cast<const Entry *>(list), listSize);
}

int loadAgent(std::uint8_t *record, int size, std::uint8_t * /*list*/, int /*listSize*/) {
  return VexoraGetSnmpAgentTotalConfFromJson(reinterpret_cast<SnmpAgentCfgRecord *>(record), size);
}

int saveAgent(const std::uint8_t *record, int size, const std::uint8_t * /*list*/, int /*listSize*/) {
  return VexoraSetSnmpAgentTotalConfToJson(reinterpret_cast<const SnmpAgentCfgRecord *>(record), size);
}

constexpr SettingsStore kStores[] = {
    {"smtp", "e-mail alerts", "/conf/SmtpCfg.json",
     "SmtpPort=587 EnableSTARTTLS=Enable dest1.EmailAddress=ops@example.com", "SmtpCfg", kSmtpFields,
     sizeof(SmtpCfgRecord), "SmtpDestCfg", kRecipientFields, sizeof(SmtpDestCfgRecord),
     withList<VexoraGetSmtpTotalConfFromJson, SmtpCfgRecord, SmtpDestCfgRecord>,
     withListOut<VexoraSetSmtpTotalConfToJson, SmtpCfgRecord, SmtpDestCfgRecord>},
    {"trap", "SNMP traps", "/conf/SnmpTrapCfg.json", "TrapVersion=V3 dest1.Destination=192.0.2.7", "SnmpTrapCfg",
     kTrapFields, sizeof(SnmpTrapCfgRecord), "SnmpTrapDestCfg", kDestinationFields, sizeof(SnmpTrapDestCfgRecord),
     withList<VexoraGetSnmpTotalConfFromJson, SnmpTrapCfgRecord, SnmpTrapDestCfgRecord>,
     withListOut<VexoraSetSnmpTotalConfToJson, SnmpTrapCfgRecord, SnmpTrapDestCfgRecord>},
    {"agent",
     "the SNMP agent",
     "/conf/SnmpAgentCfg.json",
     "SnmpV3Enable=Enable",
     "SnmpCfg",
     kAgentFields,
     sizeof(SnmpAgentCfgRecord),
     nullptr,
     {},
     0,
     loadAgent,
     saveAgent},
};

bool isNumber(const SettingField &field) { return field.kind == SettingKind::kNumber; }

/// Returns the largest number that fits a field; fields of four bytes are signed.
std::int64_t largest(const SettingField &field) {
  return field.width == 4 ? INT32_MAX : (std::int64_t{1} << (8 * field.width)) - 1;
}

std::string tooLong(const SettingField &field, std::size_t length) {
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

bool Setting::isSecret() const { return field->kind == SettingKind::kPassword || field->kind == SettingKind::kSecret; }

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
  return field->kind == SettingKind::kSecret ? decipher(member).value_or(text) : text;
}

std::string Setting::finding() const {
  if (isEmpty()) {
    return field->neededInUse && inUse ? "missing, although it is switched on" : "";
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
  if (field->kind == SettingKind::kSecret) {
    return isUndeciphered() ? "in the file, but does not decipher" : "";
  }
  const std::string text = textOf(member);
  return text.size() >= field->width ? "cut: " + tooLong(*field, text.size()) : "";
}

bool Setting::isUndeciphered() const {
  return field->kind == SettingKind::kSecret && isEmpty() && json_object_get_string_len(member) > 0 &&
         decipher(member) != "";
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
  const std::string restoring = "the next daemon to load it, and \"vexora config " + std::string(store_.name) +
                                " set\", copy " + defaultOf(store_);
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
    for (const SettingField &field : fields) {
      all.push_back({(entry < 0 ? "" : "dest" + std::to_string(entry + 1) + ".") + field.key, &field,
                     kindNamed(field.value), &record[field.offset], record[fields.front().offset] != 0, entry,
                     json_object_object_get(holder, field.key), entry >= entries});
    }
  }
  // A load stops at the first missing secret, which loses all secrets after it. Only trailing ones may be missing.
  bool isLast = true;
  std::for_each(all.rbegin(), all.rend(), [&isLast](Setting &setting) {
    if (setting.field->kind == SettingKind::kSecret) {
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

std::string defaultOf(const SettingsStore &store) { return "/etc/defconfig" + std::string(store.path).substr(5); }

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
