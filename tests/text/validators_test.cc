// SPDX-License-Identifier: Apache-2.0
// The checks of user input: their verdicts against the grammars, and all that they say. The resolver is this program's.

#include <netdb.h>

#include <cmath>

#include "support/test.h"
#include "text/validator_rules.h"

namespace vexora::test {
namespace {

using Texts = std::vector<std::string>;

std::string asked;      // what the resolver was given
int resolverLists = 0;  // that it gave and hasn't got back

// What a call answers, prints and reports, with LINE for the source line.
template <typename Result, typename... Parameters>
std::string told(Result (*call)(Parameters...), std::type_identity_t<Parameters>... arguments) {
  PlatformLog log;
  Result result = 0;
  std::string text = capturedOutput([&] { result = call(arguments...); });
  EXPECT_EQ(resolverLists, 0) << text;
  for (const PlatformMessage &message : log.take()) {
    text += std::to_string(message.level) + message.text;
  }
  return std::to_string(result) + " " + std::regex_replace(text, std::regex(" [0-9]+\\]"), " LINE]");
}

// All texts of up to five characters, every byte at every position of the sample, and long runs alone and at its ends.
Texts textsFor(const Rule &rule) {
  Texts texts = {""};
  for (std::size_t i = 0; texts[i].size() < 5; ++i) {
    for (const char character : rule.alphabet) {
      texts.push_back(texts[i] + character);
    }
  }
  for (std::size_t i = 0; i < (rule.sample.size() + 1) * 256; ++i) {
    texts.push_back(rule.sample + std::string(i / 256 == rule.sample.size() ? 1 : 0, '~'));
    texts.back()[i / 256] = static_cast<char>(i % 256);
  }
  for (std::string run; run.size() < 260; run += run.size() % 64 == 63 ? rule.alphabet.back() : rule.alphabet[0]) {
    texts.insert(texts.end(), {run, rule.sample + run, run + rule.sample});
  }
  return texts;
}

TEST(Validators, HoldTheirRules) {
  std::string wrong;
  capturedOutput([&] {
    for (const Rule &rule : rules()) {
      for (const std::string &text : textsFor(rule)) {
        wrong += rule.holdsFor(text) ? "" : rule.sample + " and " + testing::PrintToString(text) + "\n";
      }
    }
  });
  EXPECT_EQ(wrong, "");
}

TEST(Validators, TellWhatIsWrong) {
  const std::string error = " 130[libvexora_basefunction:LINE]Error while converting ";
  const std::string first = "-1 The first character in the username cannot be a ";
  const std::string special = "-1 The special character in the requested ";
  const std::string engine = " [ValidateSNMPTrapCfgEngineID LINE] Invalid Engine ID";
  EXPECT_EQ(told(IsValidIpv4, "0.0.0.0"), "0 ");
  EXPECT_EQ(told(IsValidIpv4, "1.2.3.4 "), "223" + error + "V4 IP Address::0\n");
  EXPECT_EQ(told(IsValidIpv4, nullptr), "223" + error + "V4 IP Address::-1\n");
  EXPECT_EQ(told(IsValidIpv6, "::ffff:1.2.3.4"), "0 ");
  EXPECT_EQ(told(IsValidIpv6, "1::2::3"), "226" + error + "V6 IP Address::0\n");
  EXPECT_EQ(told(IsValidIpv6, nullptr), "226" + error + "V6 IP Address::-1\n");
  EXPECT_EQ(told(vexora_isvalid_ipv6, "::1"), "0 ");
  EXPECT_EQ(told(IsValidDomain, "10.1.2.3") + asked, "228" + error + "domain address::-2\n10.1.2.3 ");
  EXPECT_EQ(told(IsValidDomain, "10.x") + asked, "228" + error + "domain address::-2\n10.x ");
  EXPECT_EQ(told(IsValidDomain, nullptr), "228" + error + "domain address::-1\n");
  EXPECT_EQ(told(IsValidDomain, "bmc"), "0 ");
  EXPECT_EQ(told(IsValidDomain, "10.1"), "228 invalid domain address::2\n");
  EXPECT_EQ(told(IsValidDomain, " 10.-1.+2.x"), "228 invalid domain address::3\n");
  EXPECT_EQ(told(vexora_isvalid_username, "", 8, 0), "-1 Setting the NULL user");
  EXPECT_EQ(told(vexora_isvalid_username, "1abc", 8, 0), first + "numeric.\n");
  EXPECT_EQ(told(vexora_isvalid_username, "_abc", 8, 0), first + "special character.\n");
  EXPECT_EQ(told(vexora_isvalid_username, "abc", -1, 0), "-1 vexora_isvalid_username : Cannot allocate memory\n");
  EXPECT_EQ(told(vexora_isvalid_username, "a.b", 3, 0), special + "username is impermissible.\n");
  EXPECT_EQ(told(vexora_isvalid_username, "a b", 3, 1), special + "SMTP username is impermissible.\n");
  EXPECT_EQ(told(vexora_isvalid_username, "a,b", 3, -1), special + "SMTP hostname is impermissible.\n");
  EXPECT_EQ(told(vexora_isvalid_username, "a.b!", 3, 2), "0 ");
  EXPECT_EQ(told(vexora_isvalid_senderaddress, "a'"), special + "sender address is impermissible.\n");
  EXPECT_EQ(told(ValidateSNMPTrapCfgEngineID, "0123456789G", 11), "1" + engine + ":0123456789G\n");
  EXPECT_EQ(told(ValidateSNMPTrapCfgEngineID, "012345678", -1), "2" + engine + " length!\n");
  EXPECT_EQ(told(ValidateSNMPTrapCfgEngineID, "G", 0), "2" + engine + " length!\n");
  EXPECT_EQ(told(ValidateSNMPTrapCfgEngineID, "0123456789G", 10), "0 ");
  EXPECT_EQ(told(vexora_valid_hostname, "host-1", 4), "0 ");
  EXPECT_EQ(told(vexora_valid_hostname, "host-1", 5), "-1 ");
  EXPECT_EQ(told(ValidateSNMPTrapCfgDeviceType, 0xFF), "0 ");
  EXPECT_EQ(told(ValidateSNMPTrapCfgDeviceType, 0x104), "1 ");
  EXPECT_EQ(told(vexora_verify_strisdigit, "1", 8), "0 ");
  EXPECT_EQ(told(vexora_verify_strisdigit, nullptr, 2), "0 ");
  EXPECT_EQ(told(vexora_valid_hostname, nullptr, 1), "-1 ");
  EXPECT_EQ(told(ValidateSNMPTrapCfgInput, nullptr, 1), "1 ");
  EXPECT_EQ(told(vexora_isvalid_domain, nullptr), "-1 ");
  for (const auto &[name, call] : {std::pair("IPv4", &vexora_isvalid_ipv4),
                                   {"IPv6", vexora_isvalid_ipv6},
                                   {"domain", VexoraIsDomain},
                                   {"password", vexora_isvalid_passwd},
                                   {"words", vexora_verify_sensitivewords}}) {
    EXPECT_EQ(told(call, nullptr), "-1 ") << name;
    EXPECT_EQ(told(call, "*"), "-1 ") << name;
  }
}

TEST(Validators, KnowTheDeviceTypes) {
  std::string known;
  for (unsigned type = 0; type < 512; ++type) {
    known.append(ValidateSNMPTrapCfgDeviceType(type) == 0 ? 1 : 0, static_cast<char>(type));
  }
  EXPECT_EQ(known,
            "\x04\x05\x07\x08\x0A\x0B\x0C\x0D\x0F\x10\x11\x12\x14\x15\x17\x18\x19\x1B\x1D\x1E\x1F\x20\x22\x23\x27\x28"
            "\xC9\xD0\xD1\xD2\xD3\xD5\xD7\xFF");
}

template <typename Value>
std::string extremes(void (*find)(const Value *, int, unsigned *, unsigned *), const std::vector<Value> &values) {
  unsigned found[] = {77, 77};
  find(values.data(), static_cast<int>(values.size()), &found[0], &found[1]);
  return std::to_string(found[0]) + " " + std::to_string(found[1]);
}

TEST(Validators, FindTheFirstExtremes) {
  EXPECT_EQ(extremes(vexora_find_maxandmin_uchar, {5, 127, 128, 128, 0, 0}), "2 4");
  EXPECT_EQ(extremes(vexora_find_maxandmin_uchar, {5}), "77 77");
  EXPECT_EQ(extremes(vexora_find_maxandmin_float, {}), "77 77");
  EXPECT_EQ(extremes(vexora_find_maxandmin_float, {0, NAN, -1.5F, INFINITY, NAN, -INFINITY}), "3 5");
  EXPECT_EQ(extremes(vexora_find_maxandmin_float, {NAN, 1}), "0 0");
}

TEST(Validators, LookUpTheLastAddressOrNone) {
  std::string text(48, '~');
  testing::internal::CaptureStderr();
  EXPECT_EQ(told(ConverHostnameToIP, "rack", text.data()) + text, "1 " + std::string(48, '~'));
  EXPECT_EQ(told(ConverHostnameToIP, nullptr, text.data()) + text, "1 " + std::string(48, '~'));
  const std::string unknown = "getaddrinfo: Name or service not known\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), unknown + unknown);
  EXPECT_EQ(told(ConverHostnameToIP, "bmc", text.data()) + asked, "0 bmc http, streams");
  EXPECT_EQ(text, "192.168.100.20" + std::string(32, '\0') + "~~");
}

}  // namespace
}  // namespace vexora::test

extern "C" int getaddrinfo(const char *node, const char *service, const addrinfo *hints, addrinfo **list) {
  static auto *const real = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  const addrinfo one = {0, AF_INET, SOCK_STREAM, 0, 0, nullptr, nullptr, nullptr};
  const bool forStreams = hints != nullptr && hints->ai_family == AF_INET && hints->ai_socktype == SOCK_STREAM;
  vexora::test::asked = std::string(node) + " " + (service == nullptr ? "" : service) + (forStreams ? ", streams" : "");
  const bool isKnown = std::string(node) == "bmc" && real("10.0.0.1", nullptr, &one, list) == 0;
  vexora::test::resolverLists += isKnown ? 1 : 0;
  return isKnown ? real("192.168.100.20", nullptr, &one, &(*list)->ai_next) : EAI_NONAME;
}

extern "C" void freeaddrinfo(addrinfo *list) noexcept {
  --vexora::test::resolverLists;
  vexora::test::original(&freeaddrinfo, "freeaddrinfo")(list);
}
