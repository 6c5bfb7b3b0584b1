// SPDX-License-Identifier: Apache-2.0
//
// Word lookups against their floor: a scan of the same table with strcmp, without any check of arguments.

#include <cstring>
#include <string>

#include "table.h"
#include "vexora/text.h"

namespace {

using vexora::bench::Table;

// A scan that ends at the first word takes hardly longer than a call into the library.
constexpr vexora::bench::Aim kAim{.host = 2.0, .board = 2.0};
constexpr int kCalls = 20000;

int scan(const char **table, const char *text, int count) {
  for (int slot = 0; slot < count; ++slot) {
    if (table[slot] != nullptr && std::strcmp(table[slot], text) == 0) {
      return slot;
    }
  }
  return -1;
}

void wordToIndex(Table &table, const char *which, const char *word, int expected) {
  // In memory that the compiler knows nothing of, as a caller's text is.
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

}  // namespace

int main(int argc, char **argv) {
  Table table(argc, argv);
  wordToIndex(table, "first", "UDP", 0);
  wordToIndex(table, "last", "TLSTwoWay", 3);
  wordToIndex(table, "none", "TLSThreeWay", -1);
  membership(table);
  return table.status();
}
