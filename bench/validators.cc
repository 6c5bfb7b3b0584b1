// SPDX-License-Identifier: Apache-2.0
//
// The validators of user input, in nanoseconds a call, against the C library's calls that each needs.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <regex.h>
#include <sys/socket.h>

#include <cctype>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "table.h"
#include "vexora/text.h"

namespace {

using vexora::bench::Table;

constexpr vexora::bench::Aim kAim{.host = 1.3, .board = 1.3};

// A round's calls take tens of microseconds.
constexpr int kCalls = 500;
constexpr int kRegexCalls = 5;

constexpr char kIpv4[] = "192.168.100.200";
constexpr char kIpv6[] = "fe80::204:61ff:fe9d:f156";
constexpr char kDomain[] = "bmc-17.rack-4.example";
constexpr char kHost[] = "bmc-17-rack-4-example";
constexpr char kMail[] = "first-line.operator@mail.example";
constexpr char kUser[] = "administrator";
constexpr char kPassword[] = "abcDEF12!";
constexpr char kForbidden[] = R"(~`!#$%^&*()+={}[]|\:;"'<>?,./ )"
                              "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D\x0E\x0F\x10"
                              "\x11\x12\x13\x14\x15\x16\x17\x18\x19\x1A\x1B\x1C\x1D\x1E\x1F\x7F";

bool converts(int family, const char *text) {
  in6_addr address;
  return inet_pton(family, text, &address) == 1;
}

void ipv4WithCode(Table &table) {
  table.compare(
      "valid-ipv4-code", kAim, kCalls, [] { return IsValidIpv4(kIpv4) == 0; }, [] { return converts(AF_INET, kIpv4); });
}

void ipv4(Table &table) {
  table.compare(
      "valid-ipv4", kAim, kCalls, [] { return vexora_isvalid_ipv4(kIpv4) == 0; },
      [] { return converts(AF_INET, kIpv4); });
}

void ipv6(Table &table) {
  table.compare(
      "valid-ipv6", kAim, kCalls, [] { return vexora_isvalid_ipv6(kIpv6) == 0; },
      [] { return converts(AF_INET6, kIpv6); });
}

/// Against a copy split by the C library's tokenizer.
void domainName(Table &table) {
  table.compare(
      "valid-domain", kAim, kCalls, [] { return VexoraIsDomain(kDomain) == 0; },
      [] {
        char copy[256];
        std::memcpy(copy, kDomain, sizeof kDomain);
        char *rest = nullptr;
        int labels = 0;
        for (const char *label = strtok_r(copy, ".", &rest); label != nullptr; label = strtok_r(nullptr, ".", &rest)) {
          ++labels;
        }
        return labels == 3;
      });
}

/// Against the classification of each character.
void hostName(Table &table) {
  table.compare(
      "valid-host-name", kAim, kCalls, [] { return vexora_valid_hostname(kHost, sizeof kHost - 1) == 0; },
      [] {
        std::size_t taken = 0;
        for (const char *at = kHost; *at != '\0'; ++at) {
          taken += std::isalnum(static_cast<unsigned char>(*at)) != 0 || *at == '-' ? 1 : 0;
        }
        return taken == sizeof kHost - 1;
      });
}

/// Against a search of the special characters for each character.
void mailAddress(Table &table) {
  table.compare(
      "valid-mail", kAim, kCalls, [] { return vexora_isvalid_email(kMail) == 0; },
      [] {
        int specials = 0;
        for (const char *at = kMail; *at != '\0'; ++at) {
          specials += std::strchr(R"(()<>@,;:\"[])", *at) != nullptr ? 1 : 0;
        }
        return specials == 1;
      });
}

/// Against a copy on the heap and one search of it.
void userName(Table &table) {
  table.compare(
      "valid-user-name", kAim, kCalls, [] { return vexora_isvalid_username(kUser, 32, 0) == 0; },
      [] {
        char *const copy = static_cast<char *>(std::calloc(33, 1));
        std::memcpy(copy, kUser, sizeof kUser);
        const bool isFree = std::strpbrk(copy, kForbidden) == nullptr;
        std::free(copy);
        return isFree;
      });
}

void password(Table &table) {
  table.compare(
      "valid-password", kAim, kRegexCalls, [] { return vexora_isvalid_passwd(kPassword) == 0; },
      [] {
        int found = 0;
        for (const char *pattern : {"[a-z]+", "[A-Z]+", "[0-9]+", "(\\W+)"}) {
          regex_t compiled;
          regmatch_t match;
          if (regcomp(&compiled, pattern, REG_EXTENDED) == 0) {
            found += regexec(&compiled, kPassword, 1, &match, 0) == 0 ? 1 : 0;
            regfree(&compiled);
          }
        }
        return found == 4;
      });
}

}  // namespace

int main(int argc, char **argv) {
  Table table(argc, argv);
  ipv4WithCode(table);
  ipv4(table);
  ipv6(table);
  domainName(table);
  hostName(table);
  mailAddress(table);
  userName(table);
  password(table);
  return table.status();
}
