// SPDX-License-Identifier: Apache-2.0
//
// Word lookups, against a scan of the same table with strcmp without argument checks; splitting texts; the extremes of
// values.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include "table.h"
#include "vexora/text.h"

namespace {

using vexora::bench::Table;

// A scan that ends at the first word is hardly slower than a call into the library.
constexpr vexora::bench::Aim kAim{.host = 2.0, .board = 2.1};
constexpr int kCalls = 2000;
constexpr int kTextCalls = 100;
constexpr std::size_t kValues = 1000;

int scan(const char **table, const char *text, int count) {
  for (int slot = 0; slot < count; ++slot) {
    if (table[slot] != nullptr && std::strcmp(table[slot], text) == 0) {
      return slot;
    }
  }
  return -1;
}

void wordToIndex(Table &table, const char *which, const char *word, int expected) {
  // The compiler can't see the contents, as with a caller's text.
  const std::string text = word;
  unsigned char index = 0;
  table.compare(
      std::string("word-to-index-") + which, kAim, kCalls,
      [&] { return (ValidateSyslogProtocalStrToIndex(text.c_str(), &index) == 0 ? index : -1) == expected; },
      [&] { return scan(SyslogProtocalStr, text.c_str(), 6) == expected; });
}

void membership(Table &table) {
  const std::string text = "SHA512";
  table.compare(
      "word-membership", kAim, kCalls, [&] { return ValidateAUTHProtocol(text.c_str()) == 0; },
      [&] { return scan(AuthProtocols, text.c_str(), 6) == 5; });
}

/// Against the same loop over the integers. On the board each of the two comparisons of a value is a call.
void floatExtremes(Table &table) {
  std::array<float, kValues> values{};
  std::array<int, kValues> integers{};
  std::uint32_t state = 1;
  for (std::size_t i = 0; i < kValues; ++i) {
    state = state * 1'664'525 + 1'013'904'223;
    integers[i] = static_cast<int>(state >> 8) - 8'000'000;
    values[i] = static_cast<float>(integers[i]) / 100;
  }
  const auto extremes = [](const int *from, std::size_t count) {
    std::size_t largest = 0;
    std::size_t smallest = 0;
    int most = from[0];
    int least = from[0];
    for (std::size_t i = 1; i < count; ++i) {
      if (from[i] > most) {
        most = from[i];
        largest = i;
      }
      if (from[i] < least) {
        least = from[i];
        smallest = i;
      }
    }
    return std::pair(largest, smallest);
  };
  const auto expected = extremes(integers.data(), kValues);
  table.compare(
      "float-extremes-1000", {.host = 1.5, .instructions = 80'000}, kTextCalls,
      [&] {
        unsigned most = 0;
        unsigned least = 0;
        vexora_find_maxandmin_float(values.data(), kValues, &most, &least);
        return most == expected.first && least == expected.second;
      },
      [&] {
        vexora::bench::touchMemory();
        return extremes(integers.data(), kValues) == expected;
      });
}

/// Against the C library's tokenizer, each on a fresh copy.
void split(Table &table) {
  const std::string text = "one,two,,three,four;five,six,seven,eight,nine,ten,eleven,twelve";
  constexpr int kTokens = 12;
  std::string copy = text;
  char *tokens[kTokens];
  table.compare(
      "split-12", {.host = 1.1, .board = 1.1}, kTextCalls,
      [&] {
        text.copy(copy.data(), text.size());
        int count = 0;
        split_c(copy.data(), ",;", tokens, &count, kTokens);
        return count == kTokens;
      },
      [&] {
        text.copy(copy.data(), text.size());
        int count = 0;
        char *rest = nullptr;
        for (char *token = strtok_r(copy.data(), ",;", &rest); token != nullptr;
             token = strtok_r(nullptr, ",;", &rest)) {
          tokens[count++] = token;
        }
        return count == kTokens;
      });
}

}  // namespace

int main(int argc, char **argv) {
  Table table(argc, argv);
  wordToIndex(table, "first", "UDP", 0);
  wordToIndex(table, "last", "TLSTwoWay", 3);
  wordToIndex(table, "none", "TLSThreeWay", -1);
  membership(table);
  floatExtremes(table);
  split(table);
  return table.status();
}
