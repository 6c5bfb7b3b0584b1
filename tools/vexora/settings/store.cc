// SPDX-License-Identifier: Apache-2.0
#include "settings/store.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include <vexora/config.h>
#include <vexora/text.h>

namespace vexora::tool {
namespace {

constexpr const char *kMask = "********";
// A secret of up to 15 characters, the empty one too, is one block of cipher text.
constexpr int kCipherBlock = 16;

#define FIELD(record, member, kind) #member, offsetof(record, member), sizeof(record::member), SettingKind::kind
#define WORDS(table) \
  Words { table, static_cast<int>(std::size(table)) }

constexpr SettingField kSmtpFields[] = {
    {FIELD(SmtpCfgRecord, SmtpEnable, kNumber), nullptr, WORDS(EnableStr)},
    {FIELD(SmtpCfgRecord, ServerAddr, kText), checkAddress, {}, true},
    {FIELD(SmtpCfgRecord, SmtpPort, kNumber), checkPort, {}, true},
    {FIELD(SmtpCfgRecord, SmtpSecurePort, kNumber), checkPort, {}, true},
    {FIELD(SmtpCfgRecord, EnableSTARTTLS, kNumber), nullptr, WORDS(EnableStr)},
    {FIELD(SmtpCfgRecord, EnableSSLTLS, kNumber), nullptr, WORDS(EnableStr)},
    {FIELD(SmtpCfgRecord, SMTPAUTH, kNumber), nullptr, WORDS(EnableStr)},
    {FIELD(SmtpCfgRecord, UserName, kText), checkMailUser},
    {FIELD(SmtpCfgRecord, PassWord, kPassword), checkPassword},
    {FIELD(SmtpCfgRecord, SenderAddr, kText), checkMailAddress, {}, true},
    {FIELD(SmtpCfgRecord, Subject, kText), checkPlainText},
    {FIELD(SmtpCfgRecord, HostName, kNumber), nullptr, WORDS(EnableStr)},
    {FIELD(SmtpCfgRecord, SerialNumber, kNumber), nullptr, WORDS(EnableStr)},
    {FIELD(SmtpCfgRecord, AssetTag, kNumber), nullptr, WORDS(EnableStr)},
    {FIELD(SmtpCfgRecord, EventLevel, kNumber), nullptr, WORDS(EventLevelStr)},
};

constexpr SettingField kRecipientFields[] = {
    {FIELD(SmtpDestCfgRecord, Enabled, kNumber), nullptr, WORDS(EnableStr)},
    {FIELD(SmtpDestCfgRecord, EmailAddress, kText), checkMailAddress, {}, true},
    {FIELD(SmtpDestCfgRecord, Description, kText), checkPlainText},
};

constexpr SettingField kTrapFields[] = {
    {FIELD(SnmpTrapCfgRecord, TrapVersion, kNumber), nullptr, WORDS(TrapVersionStr)},
    {FIELD(SnmpTrapCfgRecord, EventLevelLimit, kNumber), nullptr, WORDS(EventLevelStr)},
    {FIELD(SnmpTrapCfgRecord, HostID, kText), checkHostId},
    {FIELD(SnmpTrapCfgRecord, UserName, kText), checkUser},
    {FIELD(SnmpTrapCfgRecord, AUTHProtocol, kText), checkAuthentication},
    {FIELD(SnmpTrapCfgRecord, PrivProtocol, kText), checkPrivacy},
    {FIELD(SnmpTrapCfgRecord, EngineID, kText), checkEngineId},
    {FIELD(SnmpTrapCfgRecord, DeviceType, kNumber), checkDeviceType},
    {FIELD(SnmpTrapCfgRecord, Community, kSecret), checkCommunity},
    {FIELD(SnmpTrapCfgRecord, AUTHPwd, kSecret), checkPassword},
    {FIELD(SnmpTrapCfgRecord, PRIVPwd, kSecret), checkPassword},
};

constexpr SettingField kDestinationFields[] = {
    {FIELD(SnmpTrapDestCfgRecord, Enabled, kNumber), nullptr, WORDS(EnableStr)},
    {FIELD(SnmpTrapDestCfgRecord, Destination, kText), checkAddress, {}, true},
    {FIELD(SnmpTrapDestCfgRecord, port, kNumber), checkPort, {}, true},
};

constexpr SettingField kAgentFields[] = {
    {FIELD(SnmpAgentCfgRecord, SnmpV1Enable, kNumber), nullptr, WORDS(EnableStr)},
    {FIELD(SnmpAgentCfgRecord, SnmpV2Enable, kNumber), nullptr, WORDS(EnableStr)},
    {FIELD(SnmpAgentCfgRecord, SnmpV1V2SetEnable, kNumber), nullptr, WORDS(EnableStr)},
    {FIELD(SnmpAgentCfgRecord, SnmpV3Enable, kNumber), nullptr, WORDS(EnableStr)},
    {FIELD(SnmpAgentCfgRecord, AUTHProtocol, kNumber), nullptr, WORDS(AuthProtocols)},
    {FIELD(SnmpAgentCfgRecord, PrivProtocol, kNumber), nullptr, WORDS(PrivProtocols)},
    {FIELD(SnmpAgentCfgRecord, AUTHUserName, kText), checkUser},
    {FIELD(SnmpAgentCfgRecord, ReadOnlyCommunity, kSecret), checkCommunity},
    {FIELD(SnmpAgentCfgRecord, ReadWriteCommunity, kSecret), checkCommunity},
    {FIELD(SnmpAgentCfgRecord, AUTHPwd, kSecret), checkPassword},
    {FIELD(SnmpAgentCfgRecord, PRIVPwd, kSecret), checkPassword},
};

#undef FIELD
#undef WORDS

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

bool isMasked(const SettingField &field) {
  return field.kind == SettingKind::kPassword || field.kind == SettingKind::kSecret;
}

bool isNumber(const SettingField &field) { return field.kind == SettingKind::kNumber; }

/// The largest number that a field holds; the one of four bytes is signed.
std::int64_t largest(const SettingField &field) {
  return field.width == 4 ? INT32_MAX : (std::int64_t{1} << (8 * field.width)) - 1;
}

std::string tooLong(const SettingField &field, std::size_t length) {
  return std::to_string(length) + " bytes, more than the " + std::to_string(field.width - 1) + " that it holds";
}

void storeNumber(const Setting &setting, std::int64_t number) {
  for (std::size_t i = 0; i < setting.field->width; ++i) {
    setting.bytes[i] = static_cast<std::uint8_t>(static_cast<std::uint64_t>(number) >> (8 * i));
  }
}

std::string assignNumber(const Setting &setting, std::int64_t number) {
  if (number < 0 || number > largest(*setting.field)) {
    return "not 0 to " + std::to_string(largest(*setting.field));
  }
  storeNumber(setting, number);
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

void addEntry(std::vector<Setting> &all, std::span<const SettingField> fields, std::span<std::uint8_t> record,
              int entry) {
  const std::string prefix = entry < 0 ? "" : "dest" + std::to_string(entry + 1) + ".";
  for (const SettingField &field : fields) {
    all.push_back({prefix + field.key, &field, &record[field.offset], record[fields.front().offset] != 0, entry});
  }
}

}  // namespace

std::span<const SettingsStore> settingsStores() { return kStores; }

SettingValue Setting::value() const {
  SettingValue value;
  if (!isNumber(*field)) {
    const auto *text = reinterpret_cast<const char *>(bytes);
    value.text.assign(text, strnlen(text, field->width));
    return value;
  }
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < field->width; ++i) {
    number |= std::uint32_t{bytes[i]} << (8 * i);
  }
  value.number = field->width == 4 ? static_cast<std::int32_t>(number) : std::int64_t{number};
  return value;
}

std::string Setting::shown(bool secrets) const {
  const SettingValue now = value();
  if (!isNumber(*field)) {
    return isMasked(*field) && !secrets && !now.text.empty() ? kMask : printable(now.text);
  }
  const bool hasWord = now.number < field->words.count;
  return std::to_string(now.number) + (hasWord ? std::string(" (") + field->words.table[now.number] + ")" : "");
}

Json Setting::json(bool secrets) const {
  const SettingValue now = value();
  if (isNumber(*field)) {
    return now.number;
  }
  return isMasked(*field) && !secrets && !now.text.empty() ? Json() : Json(now.text);
}

std::string Setting::finding() const {
  const SettingValue now = value();
  if (isNumber(*field) ? now.number == 0 : now.text.empty()) {
    return field->neededInUse && inUse ? "missing, although it is switched on" : "";
  }
  if (field->words.count > 0) {
    char word[32];
    const auto number = static_cast<unsigned>(now.number);
    return ValidateIndexToString(field->words.table, number, field->words.count, word, sizeof word) == 0
               ? ""
               : "not 0 to " + std::to_string(field->words.count - 1);
  }
  return field->check(now);
}

std::string Setting::assign(const std::string &text) const {
  if (!isNumber(*field)) {
    return assignText(*this, text);
  }
  unsigned char index = 0;
  if (ValidateStrToOrder(field->words.table, text.c_str(), field->words.count, &index) == 0) {
    return assignNumber(*this, index);
  }
  constexpr std::size_t kDigits = 10;
  if (vexora_verify_strisdigit(text.c_str(), 10) != 1 || text.size() > kDigits) {
    return field->words.count > 0 ? "neither a number nor one of its words" : "not a number";
  }
  return assignNumber(*this, std::stoll(text));
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

void Settings::load(const Session &session, bool mayRestore) {
  const std::string path = session.path(store_.path);
  if (!mayRestore && access(path.c_str(), F_OK) != 0) {
    throw Failure(kInaccessible, printable(path) + " is missing; the next daemon to load it restores its default");
  }
  int result = -1;
  const std::string said = captured([&] {
    result =
        store_.load(record_.data(), static_cast<int>(record_.size()), list_.data(), static_cast<int>(list_.size()));
  });
  if (result != 0) {
    const bool readable = access(path.c_str(), R_OK) == 0;
    throw Failure(readable ? kFinding : kInaccessible,
                  printable(path) + (readable ? " is refused by its loader" : " could not be read") +
                      (said.empty() ? "" : ": " + printable(said)));
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
  addEntry(all, store_.fields, record_, -1);
  for (int entry = 0; store_.list != nullptr && entry < VEXORA_ALERT_DESTINATIONS; ++entry) {
    addEntry(all, store_.listFields, std::span(list_).subspan(static_cast<std::size_t>(entry) * store_.entrySize),
             entry);
  }
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

json_object *memberOf(const Json &document, const SettingsStore &store, const Setting &setting) {
  json_object *holder = json_object_object_get(document.get(), setting.entry < 0 ? store.section : store.list);
  if (setting.entry >= 0) {
    const bool isList = json_object_is_type(holder, json_type_array);
    holder = isList ? json_object_array_get_idx(holder, static_cast<std::size_t>(setting.entry)) : nullptr;
  }
  return json_object_is_type(holder, json_type_object) ? json_object_object_get(holder, setting.field->key) : nullptr;
}

std::string damageOf(json_object *member, const Setting &setting) {
  const SettingField &field = *setting.field;
  const bool right = json_object_is_type(member, isNumber(field) ? json_type_int : json_type_string);
  if (!right) {
    return member == nullptr ? "missing from the file"
                             : std::string("of another type, read as ") + setting.shown(false);
  }
  if (isNumber(field)) {
    const std::int64_t number = json_object_get_int64(member);
    return number == setting.value().number ? ""
                                            : std::to_string(number) + " in the file, read as " + setting.shown(false);
  }
  const int length = json_object_get_string_len(member);
  if (field.kind == SettingKind::kSecret) {
    const bool lost = setting.value().text.empty() && length != 0 && length != kCipherBlock;
    return lost ? "in the file, but does not decipher" : "";
  }
  const bool cut = static_cast<std::size_t>(length) >= field.width;
  return cut ? "cut: " + tooLong(field, static_cast<std::size_t>(length)) : "";
}

}  // namespace vexora::tool
