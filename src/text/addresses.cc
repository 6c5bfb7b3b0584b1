// SPDX-License-Identifier: Apache-2.0
//
// Addresses, by the C library's conversions and name lookup. There are two sets of checks: one returns status codes and
// reports its refusals, the other is silent.

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "base/report.h"
#include "vexora/text.h"

namespace {

constexpr unsigned kBadIpv4 = 223;
constexpr unsigned kBadIpv6 = 226;
constexpr unsigned kBadDomain = 228;

constexpr int kNoText = -1;

struct FreeAddresses {
  void operator()(addrinfo *list) const { freeaddrinfo(list); }
};

using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

/// Returns the result of inet_pton: 1 for an address of the given family.
int convert(int family, const char *text) {
  in6_addr address;
  return text == nullptr ? kNoText : inet_pton(family, text, &address);
}

/// Looks up a name; a result other than 0 is getaddrinfo's error code.
int resolve(const char *name, const char *service, const addrinfo *hints, Addresses &addresses) {
  addrinfo *list = nullptr;
  const int error = getaddrinfo(name, service, hints, &list);
  if (error == 0) {
    addresses.reset(list);
  }
  return error;
}

/// Returns how many numbers of a dotted quad a text begins with.
int leadingNumbers(const char *text) {
  int numbers[4];
  // NOLINTNEXTLINE(cert-err34-c): only their number matters, not their values
  return std::sscanf(text, "%d.%d.%d.%d", &numbers[0], &numbers[1], &numbers[2], &numbers[3]);
}

}  // namespace

unsigned IsValidIpv4(const char *text) {
  const int result = convert(AF_INET, text);
  if (result <= 0) {
    REPORT_FAILURE(vexora::kBaseFunction, "Error while converting V4 IP Address::%d\n", result);
    return kBadIpv4;
  }
  return 0;
}

unsigned IsValidIpv6(const char *text) {
  const int result = convert(AF_INET6, text);
  if (result <= 0) {
    REPORT_FAILURE(vexora::kBaseFunction, "Error while converting V6 IP Address::%d\n", result);
    return kBadIpv6;
  }
  return 0;
}

unsigned IsValidDomain(const char *text) {
  const int numbers = text == nullptr ? 0 : leadingNumbers(text);
  // The resolver would accept such an address and fill in the missing numbers.
  if (numbers == 2 || numbers == 3) {
    std::printf("invalid domain address::%d\n", numbers);
    return kBadDomain;
  }
  Addresses addresses;
  const int error = text == nullptr ? kNoText : resolve(text, nullptr, nullptr, addresses);
  if (error != 0) {
    REPORT_FAILURE(vexora::kBaseFunction, "Error while converting domain address::%d\n", error);
    return kBadDomain;
  }
  return 0;
}

int ConverHostnameToIP(const char *hostname, char *ipText) {
  addrinfo hints = {};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  Addresses addresses;
  // Without a name the resolver would return this machine's own address.
  const int error = hostname == nullptr ? EAI_NONAME : resolve(hostname, "http", &hints, addresses);
  if (error != 0) {
    std::fprintf(stderr, "getaddrinfo: %s\n", gai_strerror(error));
    return 1;
  }
  for (const addrinfo *entry = addresses.get(); entry != nullptr; entry = entry->ai_next) {
    sockaddr_in address;
    std::memcpy(&address, entry->ai_addr, sizeof address);
    std::memset(ipText, 0, VEXORA_IP_TEXT_SIZE);
    inet_ntop(AF_INET, &address.sin_addr, ipText, VEXORA_IP_TEXT_SIZE);
  }
  return 0;
}

int vexora_isvalid_ipv4(const char *text) {
  // inet_pton accepts only four numbers up to 255; only a leading 0 is left to refuse.
  return text != nullptr && text[0] != '0' && convert(AF_INET, text) == 1 ? 0 : -1;
}

int vexora_isvalid_ipv6(const char *text) { return convert(AF_INET6, text) == 1 ? 0 : -1; }
