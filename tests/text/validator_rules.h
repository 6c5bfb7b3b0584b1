// SPDX-License-Identifier: Apache-2.0
//
// The texts that the validators accept, as grammars of the default locale: the plain models for test and fuzz target.
#pragma once

#include <sys/mman.h>

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

#include "vexora/text.h"

namespace vexora::test {

// Copies bytes to the end of a page with no access after it: a read after the bytes ends the process, in every build.
inline char *atPageEnd(const char *bytes, std::size_t size) {
  constexpr std::size_t kPage = 4096;
  static auto *const pages =
      static_cast<char *>(mmap(nullptr, 2 * kPage, PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  static char *const end = mprotect(pages + kPage, kPage, PROT_NONE) == 0 ? pages + kPage : nullptr;
  return std::copy_n(bytes, size, end - size) - size;
}

struct Rule {
  int (*verdict)(char *text, unsigned length);  // 1, 0, or another number for an undocumented result
  std::regex grammar;
  std::string sample;           // accepted
  std::string alphabet;         // for short texts and long runs
  std::size_t examined = 1000;  // characters
  bool takesLength = false;     // the text is all of its bytes, NULs included

  [[nodiscard]] bool holdsFor(const std::string &text) const {
    const std::string seen = text.substr(0, std::min(examined, takesLength ? text.size() : text.find('\0')));
    const std::size_t size = takesLength ? text.size() : std::min(examined, text.size() + 1);
    return verdict(atPageEnd(text.c_str(), size), static_cast<unsigned>(text.size())) ==
           static_cast<int>(std::regex_match(seen, grammar));
  }
};

template <auto Call, auto Accepted, auto Refused, auto... Arguments>
int answers(char *text, unsigned) {
  const auto answer = Call(text, Arguments...);
  return answer == Accepted || answer == Refused ? answer == Accepted : -1;
}

template <typename Byte, typename Length, int (*Call)(const Byte *, Length), int Refused>
int accepts(char *text, unsigned length) {
  const int answer = Call(reinterpret_cast<const Byte *>(text), static_cast<Length>(length));
  return answer == 0 || answer == Refused ? answer == 0 : -1;
}

template <int Wanted>
int engineAnswers(char *text, unsigned) {
  return ValidateSNMPTrapCfgEngineID(text, 60) == Wanted;
}

inline std::vector<Rule> rules() {
  using std::regex;
  const std::string octet = "(25[0-5]|2[0-4][0-9]|1[0-9][0-9]|[1-9]?[0-9])";
  const std::string label = "[A-Za-z0-9][A-Za-z0-9-]{0,62}";
  const std::string labels = label + "([.]" + label + ")*";
  const std::string spare = "([.]" + labels + "|" + labels + R"(\.\.)" + labels + ")";
  const std::string letters = "(?=[^]*[a-z])(?=[^]*[A-Z])(?=[^]*[^A-Za-z_])";
  const std::string others = "(?=[^]*[0-9])(?=[^]*[^A-Za-z0-9_])(?=[^]*[A-Za-z])";
  const std::string name = R"([A-Za-z\x80-\xFF][\w@\x80-\xFF)";
  const std::string plain = "[!#-'*+/-9=?A-Z^-~-]+";
  const std::string word = "(" + plain + R"(|"([ !#-\[\]-~]|\\[ -~])*"))";
  const std::string mail = "[.]*" + word + "([.]+" + word + ")*@" + plain + "([.]" + plain + ")*";
  return {
      {answers<vexora_isvalid_ipv4, 0, -1>, regex("(?!0)" + octet + "([.]" + octet + "){3}"), "9.255.0.10", "0125."},
      {answers<vexora_isvalid_domain, 0, -1>, regex("[^]+[.][A-Za-z][^.]*"), "a.9.cd", "a9."},
      {answers<VexoraIsDomain, 0, -1>, regex("(?![^]{255})" + labels + "|(?![^]{256})" + spare), "a-.1..b", "a1-_."},
      {accepts<char, unsigned, vexora_valid_hostname, -1>, regex("(?![^]{256})[A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?"),
       "h-1", "a.1-", 1000, true},
      {accepts<unsigned char, int, ValidateSNMPTrapCfgInput, 1>, regex(R"([!-~\x00]{1,16})"), "public", "a ", 1000,
       true},
      {answers<vexora_valid_digit, 0, -1>, regex("[0-9]*"), "1209", "19a"},
      {answers<vexora_verify_strisdigit, 1, 0, 2U>, regex("[01]+"), "101", "012\n"},
      {answers<vexora_verify_strisdigit, 1, 0, 10U>, regex("[0-9]+"), "129", "09x\n"},
      {answers<vexora_verify_strisdigit, 1, 0, 16U>, regex(R"((0[xX])?[0-9A-Fa-f]+([\r\n][^]*)?)"), "0x1F", "0xXf\r\n"},
      {answers<vexora_isvalid_passwd, 0, -1>, regex("(" + letters + "|" + others + R"()[^\x01- \x7F]*)"), "aB1_c",
       "aB1_! "},
      {answers<vexora_isvalid_username, 0, -1, 6, 0>, regex(name + "-]*"), "us@r_1!x", "a1.-@!", 6},
      {answers<vexora_isvalid_username, 0, -1, 6, 1>, regex(name + ".-]*"), "us@r_.!x", "a1.-@!", 6},
      {answers<vexora_isvalid_senderaddress, 0, -1>, regex(R"([^\x01-\x1F\x7F'\\]*)"), "bmc <alert@host>'", R"(a'\)",
       16},
      {answers<vexora_isvalid_email, 0, -1>, regex(mail), R"(a."b\ ".c@d.e)", R"(a@"\ .)", 64},
      {answers<FilterSensitiveWordsForSec, 0, 1>, regex("[^*()&=|]*"), "ab", "a*"},
      {answers<vexora_verify_sensitivewords, 0, -1>, regex("[^*()&=|]*"), "ab", "a*"},
      {engineAnswers<0>, regex("(([0-9A-Fa-f]{2}){5,24})?"), "0123456789aF", "0G"},
      {engineAnswers<1>, regex("[0-9A-Fa-f]{0,59}[^0-9A-Fa-f][^]*"), "8G0", "0G"},
  };
}

}  // namespace vexora::test
