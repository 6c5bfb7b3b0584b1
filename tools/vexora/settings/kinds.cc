// SPDX-License-Identifier: Apache-2.0
#include <vexora/diag.h>
#include <vexora/ipc.h>
#include <vexora/text.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include "core/tool.h"
#include "settings/kinds.h"

namespace vexora::tool {
namespace {

int lengthOf(const std::string &value) {
  constexpr std::size_t kMost = std::numeric_limits<int>::max();
  return static_cast<int>(value.size() < kMost ? value.size() : kMost);
}

template <auto Accepts>
bool accepts(const std::string &value) {
  std::string copy = value;  // some take a text that they might change
  return Accepts(copy.data()) == 0;
}

template <int Mode>
bool acceptsName(const std::string &value) {
  return vexora_isvalid_username(value.c_str(), lengthOf(value), Mode) == 0;
}

template <unsigned Base>
bool acceptsNumber(const std::string &value) {
  return vexora_verify_strisdigit(value.c_str(), Base) == 1;
}

bool acceptsHost(const std::string &value) {
  std::array<char, VEXORA_IP_TEXT_SIZE> address{};
  return ConverHostnameToIP(value.c_str(), address.data()) == 0;
}

bool acceptsTrapField(const std::string &value) {
  return ValidateSNMPTrapCfgInput(reinterpret_cast<const unsigned char *>(value.data()), lengthOf(value)) == 0;
}

bool acceptsSensorType(const std::string &value) {
  const auto type = parseNumber(value, UINT32_MAX);
  return type && ValidateSNMPTrapCfgDeviceType(static_cast<unsigned>(*type)) == 0;
}

bool acceptsPort(const std::string &value) { return parseNumber(value, 65535).value_or(0) > 0; }

// Digits and full stops alone would pass as a domain name, but are a mistyped address.
bool acceptsAddress(const std::string &value) {
  const char *text = value.c_str();
  const bool isName = value.find_first_not_of("0123456789.") != std::string::npos;
  return vexora_isvalid_ipv4(text) == 0 || vexora_isvalid_ipv6(text) == 0 || (isName && VexoraIsDomain(text) == 0);
}

bool acceptsMailAddress(const std::string &value) {
  return vexora_isvalid_email(value.c_str()) == 0 && vexora_isvalid_senderaddress(value.c_str()) == 0;
}

const Kind kKinds[] = {
    {"port", "", "a port, 1 to 65535", acceptsPort, false},
    {"address", "vexora_isvalid_ipv4, vexora_isvalid_ipv6, VexoraIsDomain", "an IPv4 or IPv6 address, or a domain name",
     acceptsAddress, false},
    {"mail-address", "vexora_isvalid_email, vexora_isvalid_senderaddress",
     "a mail address, NAME@DOMAIN, without quotes and backslashes", acceptsMailAddress, false},
    {"ipv4", "vexora_isvalid_ipv4", "four numbers up to 255 with full stops between them, not beginning with a 0",
     accepts<vexora_isvalid_ipv4>},
    {"ipv4-address", "IsValidIpv4", "four numbers up to 255 with full stops between them", accepts<IsValidIpv4>},
    {"ipv6", "vexora_isvalid_ipv6", "an IPv6 address without zone or prefix length", accepts<vexora_isvalid_ipv6>},
    {"ipv6-address", "IsValidIpv6", "an IPv6 address without zone or prefix length", accepts<IsValidIpv6>},
    {"resolvable", "IsValidDomain", "a name or address that the resolver finds, and not two or three numbers of one",
     accepts<IsValidDomain>, false},
    {"ipv4-host", "ConverHostnameToIP", "a name that the resolver finds an IPv4 address for", acceptsHost, false},
    {"domain", "VexoraIsDomain",
     "labels of 1 to 63 letters, digits and hyphens, none beginning with a hyphen, with full stops between them, 255 "
     "characters at most",
     accepts<VexoraIsDomain>},
    {"domain-suffix", "vexora_isvalid_domain", "something, a full stop, and after the last one a letter first",
     accepts<vexora_isvalid_domain>},
    {"hostname", "vexora_valid_hostname", "1 to 255 letters and digits, and hyphens but for both ends",
     [](const std::string &value) {
       return vexora_valid_hostname(value.c_str(), static_cast<unsigned>(value.size())) == 0;
     }},
    {"username", "vexora_isvalid_username",
     "a name that doesn\'t begin with a digit or .-@_ and has no blanks, control characters and punctuation but -_@",
     acceptsName<0>},
    {"smtp-username", "vexora_isvalid_username(1)",
     "a name that doesn\'t begin with a digit or .-@_ and has no blanks, control characters and punctuation but -_@.",
     acceptsName<1>},
    {"smtp-hostname", "vexora_isvalid_username(2)",
     "a name that doesn\'t begin with a digit or .-@_ and has no blanks, control characters and punctuation but -_@.",
     acceptsName<2>},
    {"password", "vexora_isvalid_passwd",
     "three of small letters, capitals, digits and others (the underscore is none of these), without blanks and "
     "control characters",
     accepts<vexora_isvalid_passwd>},
    {"email", "vexora_isvalid_email", "a mail address, of which the first 64 characters count",
     accepts<vexora_isvalid_email>},
    {"sender-address", "vexora_isvalid_senderaddress",
     "no single quote, backslash or control character among the first 16 characters",
     accepts<vexora_isvalid_senderaddress>},
    {"harmless", "vexora_verify_sensitivewords", "none of the characters *()&=|",
     accepts<vexora_verify_sensitivewords>},
    {"command", "CheckCommandSpecial", "none of the characters &;|", accepts<CheckCommandSpecial>},
    {"path", "is_valid_path",
     "a slash and a word character, then word characters with at most one slash, hyphen, other character and colon, in "
     "this order, after each run of them",
     accepts<is_valid_path>},
    {"digits", "vexora_valid_digit", "no character but digits", accepts<vexora_valid_digit>},
    {"binary", "vexora_verify_strisdigit(2)", "one or more of the digits 0 and 1", acceptsNumber<2>},
    {"decimal", "vexora_verify_strisdigit(10)", "one or more decimal digits", acceptsNumber<10>},
    {"hexadecimal", "vexora_verify_strisdigit(16)", "one or more hexadecimal digits, 0x allowed before them",
     acceptsNumber<16>},
    {"trap-field", "ValidateSNMPTrapCfgInput", "1 to 16 printable ASCII characters without the blank",
     acceptsTrapField},
    {"trap-engine-id", "ValidateSNMPTrapCfgEngineID", "5 to 24 octets as hexadecimal digits, or nothing",
     [](const std::string &value) { return ValidateSNMPTrapCfgEngineID(value.c_str(), -1) == 0; }},
    {"trap-sensor-type", "ValidateSNMPTrapCfgDeviceType",
     "the number of a sensor type whose traps can be configured, 0x before hexadecimal digits", acceptsSensorType,
     false},
    {"debug-module", "GetSourceIsVaild", "a module of the debug log that the firmware knows",
     [](const std::string &value) { return GetSourceIsVaild(value.c_str()) == 1; }, false},
    {"snmp-authentication", "AuthProtocols", "SNMPv3 authentication", nullptr, false, AuthProtocols},
    {"snmp-privacy", "PrivProtocols", "SNMPv3 privacy", nullptr, false, PrivProtocols},
    {"trap-version", "TrapVersionStr", "SNMP version of traps", nullptr, false, TrapVersionStr},
    {"host-id", "HostIDs", "what names the host in traps", nullptr, false, HostIDs},
    {"event-level", "EventLevelStr", "lowest level of events", nullptr, false, EventLevelStr},
    {"enable", "EnableStr", "a switch", nullptr, false, EnableStr},
    {"enable-small", "EnabledStrLittleLetter", "a switch in small letters", nullptr, false, EnabledStrLittleLetter},
    {"auto", "AutoStrLittleLetter", "who sets a value", nullptr, false, AutoStrLittleLetter},
    {"syslog-host-id", "SyslogTagStr", "what names the host in syslog records", nullptr, false, SyslogTagStr},
    {"syslog-enable", "SyslogEnableStr", "switches of syslog", nullptr, false, SyslogEnableStr},
    {"syslog-protocol", "SyslogProtocalStr", "transport of syslog", nullptr, false, SyslogProtocalStr},
    {"syslog-type", "SyslogTypeStr", "logs that go to syslog", nullptr, false, SyslogTypeStr},
    {"syslog-level", "SyslogLevelStr", "lowest level that goes to syslog", nullptr, false, SyslogLevelStr},
    {"video-compression", "CompressionModeStr", "compression of the remote console", nullptr, false,
     CompressionModeStr},
    {"video-quality", "VideoQualityStr", "picture quality of the remote console", nullptr, false, VideoQualityStr},
};

}  // namespace

std::span<const Kind> kinds() { return kKinds; }

const Kind *kindNamed(const std::string &name) {
  const auto *const found = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Kind &kind) {
    return name == kind.name || (!name.empty() && name == kind.library);
  });
  return found == std::end(kKinds) ? nullptr : found;
}

std::optional<unsigned> numberOf(const Kind &kind, const std::string &value) {
  unsigned char index = 0;
  const bool isWord =
      ValidateStrToOrder(kind.words.data(), value.c_str(), static_cast<int>(kind.words.size()), &index) == 0;
  return isWord ? std::optional<unsigned>(index) : std::nullopt;
}

bool takes(const Kind &kind, const std::string &value) {
  return kind.accepts != nullptr ? kind.accepts(value) : numberOf(kind, value).has_value();
}

std::string wordsOf(const Kind &kind) {
  std::string words;
  for (const char *word : kind.words) {
    words += word == nullptr ? "" : (words.empty() ? "\"" : ", \"") + std::string(word) + "\"";
  }
  return words;
}

std::string refusal(const Kind &kind, const std::string &value) {
  bool accepted = false;
  std::string said = captured([&] { accepted = takes(kind, value); });
  said.erase(said.find_last_not_of("\r\n ") + 1);
  const std::string rule = kind.words.empty() ? kind.meaning : "one of " + wordsOf(kind) + ", letter by letter";
  return accepted ? ""
                  : "takes " + rule + (said.empty() ? "" : "; the library says: " + said.substr(said.rfind('\n') + 1));
}

}  // namespace vexora::tool
