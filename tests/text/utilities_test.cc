// SPDX-License-Identifier: Apache-2.0
// Words, strings and the checks of user input: the verdicts against the grammars, and all output. This program replaces
// the resolver and the matcher.

#include <netdb.h>
#include <regex.h>

#include <cmath>
#include <span>

#include "support/test.h"
#include "text/validator_rules.h"
#include "vexora/diag.h"

namespace vexora::test {
namespace {

std::string asked;       // the resolver's last name
int resolverLists = 0;   // not freed yet
int matcherFailure = 0;  // the C library matcher's result instead of a verdict
bool umlauts = false;    // the locale has a letter 0xE4

// A call's result, output and reports, with LINE for the source line.
template <typename Result, typename... Parameters>
std::string told(Result (*call)(Parameters...), std::type_identity_t<Parameters>... arguments) {
  FirmwareLog log;
  Result result = 0;
  std::string text = capturedOutput([&] { result = call(arguments...); });
  EXPECT_EQ(resolverLists, 0) << text;
  for (const FirmwareMessage &message : log.take()) {
    text += std::to_string(message.level) + message.text;
  }
  return std::to_string(result) + " " + std::regex_replace(text, std::regex(" [0-9]+\\]"), " LINE]");
}

TEST(Strings, AreSearchedAndChanged) {
  const char *const text = "config.json";
  const std::tuple<const char *, const char *, const char *> rows[] = {{".json", text + 6, nullptr},
                                                                       {"", text + 11, text},
                                                                       {"config", nullptr, text},
                                                                       {"config.json", text, text},
                                                                       {"a.config.json", nullptr, nullptr}};
  for (const auto &[part, end, start] : rows) {
    EXPECT_EQ(vexora_str_end_str(text, part), end) << part;
    EXPECT_EQ(vexora_str_start_str(text, part), start) << part;
  }
  for (const auto &[whole, part] : {std::pair(text, static_cast<const char *>(nullptr)), {nullptr, ""}}) {
    EXPECT_EQ(vexora_str_end_str(whole, part), nullptr) << whole;
    EXPECT_EQ(vexora_str_start_str(whole, part), nullptr) << whole;
  }
  EXPECT_EQ(FilterSensitiveWordsForSec(nullptr), -1);
  std::string changed = "aZ0\xE4{";
  covertToUpperCase(changed.data());
  EXPECT_EQ(changed, "AZ0\xE4{");
  covertToLowerCase(changed.data());
  EXPECT_EQ(ReverseString(changed.data()), 0);
  EXPECT_EQ(changed, "{\xE4\x30za");
  covertToUpperCase(nullptr);
  covertToLowerCase(nullptr);
  EXPECT_EQ(ReverseString(nullptr), -1);
}

// The fuzz target compares these with models.
TEST(Strings, AreSplitQuotedAndReplaced) {
  char list[] = ",a;,b,c,,d,e";
  char *tokens[3];
  int count = 0;
  split_c(list, ",;", tokens, &count, 2);
  EXPECT_EQ(std::tuple(count, tokens[0], tokens[1]), std::tuple(2, list + 1, list + 4));
  EXPECT_EQ(std::string(list, sizeof list), std::string(",a\0,b\0c\0,d,e\0", 13));
  char *const quoted = escaper(nullptr, R"('it\'s' "so")");
  EXPECT_STREQ(quoted, R"(\'it\\\'s\' "so")");
  EXPECT_EQ(escaper(escaper(quoted, "'"), nullptr), nullptr);
  const std::string most(5118, 'x');
  const std::tuple<std::string, const char *, const char *, int, std::string> rows[] = {
      {"aaa-a-", "aa", "", 0, "a-a-"},         {"-a-", "-", "--", 0, "--a--"},
      {"none", "-", "+", 0, "none"},           {most + "-", "-", "+", 0, most + "+"},
      {most + "-", "-", "++", -1, most + "+"}, {most.substr(1) + "--", "-", "", 0, most.substr(1)}};
  for (const auto &[source, from, to, result, expected] : rows) {
    std::string target = source + '\0';
    target.resize(5121, '~');
    EXPECT_EQ(str_replace(source.c_str(), target.data(), from, to), result);
    EXPECT_EQ(target.c_str(), expected);
    EXPECT_EQ(target[5120], '~');
  }
}

TEST(Strings, AreCopiedWithinTheirBounds) {
  EXPECT_EQ(std::pair(strnlen_safe("abc", 2), strnlen_safe(nullptr, 9)), std::pair(std::size_t{2}, std::size_t{0}));
  std::string text(19, '~');
  EXPECT_EQ(strncpy_safe(text.data(), "abc", 5), text.data());
  EXPECT_EQ(strncpy_safe(text.data(), "xyz", 2), text.data());
  EXPECT_STREQ(strncpy_safe(text.data(), nullptr, 4), "");
  EXPECT_EQ(text.substr(0, 6), std::string("xyc\0\0~", 6));
  char *const copy = strncpy_safe(nullptr, "it's", 3);
  EXPECT_STREQ(copy, "it'");
  std::free(copy);
  char word[] = "a,b";
  char *token = nullptr;
  int count = 9;
  for (const auto &[list, delimiters] : {std::pair(&word[3], ","), {nullptr, ","}, {word, ""}, {word, nullptr}}) {
    split_c(list, delimiters, &token, &count, 1);
    EXPECT_EQ(count, 9) << list << " by " << delimiters;
  }
  split_c(word, ",", &token, &count, 0);
  EXPECT_EQ(std::pair(count, token), std::pair(1, &word[0]));
  const std::uint8_t mac[] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0xFE};
  EXPECT_EQ(ConvertMACnumToStr(mac, 6, nullptr), 0);
  EXPECT_EQ(ConvertMACnumToStr(mac, -1, text.data()), 0);
  EXPECT_EQ(ConvertMACnumToStr(nullptr, 6, text.data()), 0);
  EXPECT_EQ(text, std::string("00:1A:2B:3C:4D:FE\0~", 19));
}

TEST(Strings, FailuresAreReportedAndRefusedArgumentsAreNot) {
  const std::string module = "130[libvexora_basefunction:LINE]";
  std::string target(5120, 'x');
  for (const auto &[source, from, to] :
       {std::tuple("x-", "", "+"), {"x-", nullptr, "+"}, {"x-", "-", nullptr}, {nullptr, "-", "+"}}) {
    EXPECT_EQ(told(str_replace, source, target.data(), from, to), "-1 ") << source << ", " << from << ", " << to;
  }
  EXPECT_EQ(told(str_replace, "x-", nullptr, "-", "+"), "-1 ");
  EXPECT_EQ(told(str_replace, (std::string(5120, 'x') + "-").c_str(), target.data(), "-", "+"),
            "-1 " + module + "Buffer Overflow\n");
  for (const char *path : {"/tmp/x.tar.gz", "/a_b/-x:9", "/a--b", "/a b"}) {
    EXPECT_EQ(told(is_valid_path, path), "0 ") << path;
  }
  for (const char *path : {"x\n/a", "/", "//a", "/-a", "/a---b", "a/b"}) {
    EXPECT_EQ(told(is_valid_path, path), "-1 " + module + "Error: no match status is:1\n") << path;
  }
  EXPECT_EQ(told(is_valid_path, nullptr) + told(is_valid_path, ""), "-1 -1 ");
  FirmwareLog log;
  EXPECT_EQ(strncpy_safe(nullptr, "abc", SIZE_MAX), nullptr);
  EXPECT_EQ(log.take(), (std::vector<FirmwareMessage>{{130, module.substr(3) + "malloc function failing\n"}}));
}

TEST(Strings, ZoneIsTheOneOfNow) {
  FixedClock clock(0);
  // The hour of a record of 23:59:59 on the first of July. Clocks that are in winter time now add one.
  const char *const clocksChange = "EST5EDT,M3.2.0,M11.1.0";
  for (const auto &[now, zone, offset, expected, hour] : {std::tuple(1704067200, "UTC0", 0, "+00:00", 23),
                                                          {1704067200, "XST-5:45:59", 20759, "+05:45", 23},
                                                          {1704067200, "XST3:30", -12600, "-03:30", 23},
                                                          {1719878399, clocksChange, -14400, "-04:00", 23},
                                                          {1704067200, clocksChange, -18000, "-05:00", 24}}) {
    SCOPED_TRACE(expected);
    char text[] = "~~~~~~~";
    clock.set(now);
    setenv("TZ", zone, 1);
    EXPECT_EQ(VexoraGetUTC_SecondsOffset(), offset);
    EXPECT_EQ(get_time_zone(nullptr, 9), -1);
    EXPECT_EQ(get_time_zone(text, sizeof text), 0);
    EXPECT_STREQ(text, expected);
    EXPECT_EQ(get_time_zone(text, 4), 0);
    EXPECT_EQ(text, std::string(expected).substr(0, 3));
    std::tm parts{};
    VexoraLogTime2TmMode(1719878399, &parts);
    EXPECT_EQ(std::tuple(parts.tm_mon, (parts.tm_mday - 1) * 24 + parts.tm_hour, parts.tm_sec),
              std::tuple(6, hour, 59));
  }
  std::tm parts{};
  VexoraLogTime2TmMode(4117996800, &parts);
  EXPECT_EQ(parts.tm_year, sizeof(std::time_t) > 4 ? 200 : 64) << "in the year 2100";
  VexoraLogTime2TmMode(0, nullptr);
  // This time doesn't fit 32 bits; with 64 bits it can't be converted.
  clock.set(std::numeric_limits<std::time_t>::max());
  char text[] = "~";
  EXPECT_EQ(VexoraGetUTC_SecondsOffset(), sizeof(std::time_t) > 4 ? -1 : -18000);
  EXPECT_EQ(get_time_zone(text, 2), sizeof(std::time_t) > 4 ? -1 : 0);
  VexoraLogTime2TmMode(86399, &parts);
  EXPECT_EQ(parts.tm_sec, 59);
}

#ifndef VEXORA_SANITIZED
TEST(Strings, FailedAllocationsAreReportedAndLeaveNothingToRelease) {
  FirmwareLog log;
  const FirmwareMessage unquoted = {130, "[libvexora_basefunction:LINE]Memory allocation failing\n"};
  const HeapWatch heap;
  char *text = nullptr;
  const auto quote = [&] { text = escaper(text, "it's"); };
  EXPECT_EQ(failEach(kAnyAllocation, ENOMEM, quote, [&](unsigned) { EXPECT_EQ(text, nullptr); }), 2U);
  EXPECT_EQ(escaper(text, nullptr), nullptr);
  EXPECT_EQ(log.take(), std::vector(2, unquoted));
  const auto copy = [&] { text = strncpy_safe(nullptr, "text", 4); };
  EXPECT_EQ(failEach(kAnyAllocation, ENOMEM, copy, [&](unsigned) { EXPECT_EQ(text, nullptr); }), 1U);
  vexora_safefree(text);
  EXPECT_EQ(log.take().size(), 1U);
  {
    const FailCall noPattern(kAnyAllocation, 1, ENOMEM);
    EXPECT_EQ(is_valid_path("/tmp"), -1);
    const FailCall noClass(kAnyAllocation, 1, ENOMEM);
    EXPECT_EQ(vexora_isvalid_passwd("abcDEF12"), -1);
  }
  matcherFailure = REG_ESPACE;
  EXPECT_EQ(is_valid_path("/tmp"), REG_ESPACE);
  matcherFailure = 0;
  EXPECT_EQ(is_valid_path("/tmp"), 0);
  EXPECT_EQ(log.take().size(), 0U);
  EXPECT_EQ(heap.growth(), 0);
}
#endif

using Words = std::span<const char *>;

// Each table with its functions; `all` are the words in their slots.
TEST(Words, AreFoundWholeInTheirSlots) {
  std::string all;
  for (const auto &[words, isWord] : {std::tuple(Words(AuthProtocols), &ValidateAUTHProtocol),
                                      {HostIDs, &ValidateHostID},
                                      {PrivProtocols, &ValidatePrivProtocol}}) {
    for (const char *word : words) {
      EXPECT_EQ(isWord(word), 0) << word;
      all.append(word).append(",");
    }
    EXPECT_EQ(isWord("SHA1"), -1) << all;
    EXPECT_EQ(isWord(nullptr), -1) << all;
  }
  const std::tuple<Words, int (*)(const char *, unsigned char *), int (*)(unsigned, char *, size_t)> rows[] = {
      {EnableStr, ValidateEnableDisable, ValidateEnableDisableIndexToString},
      {EnabledStrLittleLetter, ValidateEnableDisableLittleLetter, nullptr},
      {AutoStrLittleLetter, ValidateAutoManualLittleLetter, nullptr},
      {SyslogTagStr, ValidateSyslogTagStrToIndex, ValidateSyslogTagIndexToString},
      {SyslogEnableStr, ValidateSyslogEnableStrToIndex, ValidateSyslogEnableIndexToString},
      {SyslogProtocalStr, ValidateSyslogProtocalStrToIndex, ValidateSyslogProtocalIndexToString},
      {SyslogTypeStr, ValidateSyslogTypeStrToIndex, ValidateSyslogTypeIndexToString},
      {SyslogLevelStr, ValidateSyslogLevelStrToIndex, ValidateSyslogLevelIndexToString},
      {TrapVersionStr, ValidateSnmpTrapVersion, nullptr},
      {CompressionModeStr, ValidateCompressionMode, ValidateCompressionModeIndexToString},
      {VideoQualityStr, ValidateVideoQuality, ValidateVideoQualityIndexToString},
      {EventLevelStr, ValidateEventLevelStrToIndex, nullptr},
  };
  for (const auto &[words, toIndex, toWord] : rows) {
    SCOPED_TRACE(words[0]);
    for (unsigned slot = 0; slot <= words.size(); ++slot) {
      const char *const word = slot < words.size() ? words[slot] : nullptr;
      unsigned char index = 0xFF;
      char text[16] = "";
      EXPECT_EQ(toIndex(word, &index), word == nullptr ? 1 : 0) << slot;
      EXPECT_EQ(index, word == nullptr ? 0xFF : slot);
      if (toWord != nullptr) {
        EXPECT_EQ(toWord(slot, text, 16), word == nullptr ? 1 : 0) << slot;
        EXPECT_STREQ(text, word == nullptr ? "" : word);
      }
      all.append(word == nullptr ? "-" : word).append(",");
    }
    unsigned char index = 0xFF;
    EXPECT_EQ(toIndex((std::string(words[0]) + " ").c_str(), &index), 1);
    EXPECT_EQ(toIndex(words[0], nullptr), 1);
    EXPECT_EQ(index, 0xFF);
    EXPECT_EQ(toWord == nullptr ? 1 : toWord(0, nullptr, 16), 1);
  }
  EXPECT_EQ(all,
            "SHA,MD5,NONE,SHA256,SHA384,SHA512,HostName,SerialNum,AssetTag,AES,DES,NONE,AES128,Disable,Enable,-,"
            "disable,enable,-,manual,auto,-,HostName,SerialNumber,PartNumber,-,SyslogEnable,LocalEnable,RemoteEnable,-,"
            "UDP,TCP,TLSOneWay,TLSTwoWay,-,-,-,None,Idl,Audit,Idl + Audit,-,Info,Warning,Critical,Alert,-,Disable,V1,"
            "V2C,V3,-,High,Normal,Low,No,-,VeryLow,Low,Average,Normal,High,-,Info,Warning,Critical,-,");
}

TEST(Words, LookupsStayInBounds) {
  unsigned char index = 0xFF;
  char text[] = "~~~~~~";
  for (const auto &[table, count] : {std::pair(&EnableStr[0], 0), {EnableStr, INT_MIN}, {nullptr, 2}}) {
    SCOPED_TRACE(count);
    EXPECT_EQ(vexora_valid_strparams(table, "Disable", count), -1);
    EXPECT_EQ(ValidateStrToOrder(table, "Disable", count, &index), 1);
    EXPECT_EQ(ValidateIndexToString(table, 0, count, text, sizeof text), 1);
  }
  EXPECT_EQ(ValidateIndexToString(VideoQualityStr, UINT_MAX, 5, text, sizeof text), 1);
  EXPECT_EQ(ValidateIndexToString(VideoQualityStr, 0, 5, text, 0), 0);
  EXPECT_STREQ(text, "~~~~~~");
  EXPECT_EQ(ValidateIndexToString(VideoQualityStr, 0, 1, text, 4), 0);
  EXPECT_EQ(std::string(text, 6), std::string("Ver\0~~", 6));
  // Lookups use the exported array in its present state.
  const char *const word = std::exchange(EnableStr[1], nullptr);
  EXPECT_EQ(ValidateEnableDisable("Enable", &index), 1);
  EnableStr[1] = word;
  EXPECT_EQ(index, 0xFF);
}

// All texts of up to five characters, every byte at every position of the sample, and long runs alone and at its ends.
std::vector<std::string> textsFor(const Rule &rule) {
  std::vector<std::string> texts = {""};
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

TEST(Validators, FollowTheirRules) {
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

TEST(Validators, ReportWhatIsWrong) {
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
  EXPECT_EQ(told(vexora_isvalid_username, "a!", 0, 0), "0 ");
  EXPECT_EQ(told(vexora_isvalid_senderaddress, "a'"), special + "sender address is impermissible.\n");
  EXPECT_EQ(told(ValidateSNMPTrapCfgEngineID, "0123456789G", 11), "1" + engine + ":0123456789G\n");
  EXPECT_EQ(told(ValidateSNMPTrapCfgEngineID, "012345678", -1), "2" + engine + " length!\n");
  EXPECT_EQ(told(ValidateSNMPTrapCfgEngineID, "G", 0), "2" + engine + " length!\n");
  EXPECT_EQ(told(ValidateSNMPTrapCfgEngineID, "0123456789G", 10), "0 ");
  EXPECT_EQ(told(vexora_verify_strisdigit, "1", 8), "0 ");
  EXPECT_EQ(told(vexora_verify_strisdigit, nullptr, 2), "0 ");
  EXPECT_EQ(told(vexora_valid_hostname, nullptr, 1), "-1 ");
  EXPECT_EQ(told(ValidateSNMPTrapCfgInput, nullptr, 1), "1 ");
  EXPECT_EQ(told(ValidateSNMPTrapCfgInput, reinterpret_cast<std::uint8_t *>(atPageEnd("x", 1)), -1), "1 ");
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

TEST(Validators, AskTheLocaleWhereTheySay) {
  char domain[] = "a.\xE4";
  umlauts = true;
  EXPECT_EQ(told(vexora_valid_hostname, &domain[2], 1) + told(vexora_isvalid_domain, domain), "0 0 ");
  EXPECT_EQ(told(VexoraIsDomain, domain), "-1 ");
  umlauts = false;
}

TEST(Validators, KnowTheDeviceTypes) {
  std::string known;
  for (unsigned type = 0; type < 512; ++type) {
    known.append(static_cast<std::size_t>(1 - ValidateSNMPTrapCfgDeviceType(type)), static_cast<char>(type));
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
  vexora_find_maxandmin_float(nullptr, 2, nullptr, nullptr);
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

extern "C" {

int regexec(const regex_t *pattern, const char *text, std::size_t slots, regmatch_t *found, int flags) {
  return matcherFailure != 0 ? matcherFailure : original(&regexec, "regexec")(pattern, text, slots, found, flags);
}

int isalpha(int c) noexcept { return umlauts && c == 0xE4 ? 1 : original(&isalpha, "isalpha")(c); }

int isalnum(int c) noexcept { return umlauts && c == 0xE4 ? 1 : original(&isalnum, "isalnum")(c); }

int getaddrinfo(const char *node, const char *service, const addrinfo *hints, addrinfo **list) {
  static auto *const real = original(&getaddrinfo, "getaddrinfo");
  const addrinfo one = {0, AF_INET, SOCK_STREAM, 0, 0, nullptr, nullptr, nullptr};
  const bool forStreams = hints != nullptr && hints->ai_family == AF_INET && hints->ai_socktype == SOCK_STREAM;
  asked = std::string(node) + " " + (service == nullptr ? "" : service) + (forStreams ? ", streams" : "");
  const bool isKnown = std::string(node) == "bmc" && real("10.0.0.1", nullptr, &one, list) == 0;
  resolverLists += isKnown ? 1 : 0;
  return isKnown ? real("192.168.100.20", nullptr, &one, &(*list)->ai_next) : EAI_NONAME;
}

void freeaddrinfo(addrinfo *list) noexcept {
  --resolverLists;
  original(&freeaddrinfo, "freeaddrinfo")(list);
}
}
}  // namespace vexora::test
