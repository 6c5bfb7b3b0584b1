// SPDX-License-Identifier: Apache-2.0
//
// Text utilities against plain models of them. An input is a number (one byte) and three lines: a text, one to look for
// and one to put in its place. To replace in, the text is repeated that many times, so that short inputs fill the
// target.

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "vexora/text.h"

// Reports of refused paths and full targets, of which there are thousands a second.
extern "C" void XDBG_LINUXAPP_DbgOut(int, const char *, ...) {}

namespace {

constexpr std::size_t kTargetSize = 5120;

void checkPathAndQuoting(const std::string &text) {
  static const std::regex path("/([[:alnum:]_]+/?-?.?:?)+", std::regex::extended | std::regex_constants::__polynomial);
  static const std::regex quoted(R"([\\'])");
  assert(is_valid_path(text.c_str()) == (std::regex_match(text, path) ? 0 : -1));
  char *const result = escaper(strdup("before"), text.c_str());
  assert(std::regex_replace(text, quoted, R"(\$&)") == result);
  std::free(result);
}

void checkSplit(const std::string &text, const std::string &delimiters, std::size_t slots) {
  const auto inToken = [&](std::size_t at) { return delimiters.find(text[at]) == std::string::npos; };
  std::string left = text;
  std::string split = text;
  std::vector<char *> expected;
  for (std::size_t i = 0; !delimiters.empty() && i < text.size(); ++i) {
    if (inToken(i) && (i == 0 || !inToken(i - 1))) {
      expected.push_back(&split[i]);
    } else if (!inToken(i) && i > 0 && inToken(i - 1) && expected.size() <= slots + 1) {
      left[i] = '\0';
    }
  }
  expected.resize(std::min(expected.size(), slots));
  std::vector<char *> tokens(slots);
  int count = 0;
  split_c(split.data(), delimiters.c_str(), tokens.data(), &count, static_cast<int>(slots));
  tokens.resize(static_cast<std::size_t>(count));
  assert(split == left && tokens == expected);
}

// Behind the copy of the source the target has no terminator.
void checkReplacing(const std::string &source, const std::string &from, const std::string &to) {
  std::string expected = source;
  expected.resize(kTargetSize, 'x');
  std::vector<char> target(expected.begin(), expected.end());
  std::string done;
  std::size_t rest = 0;
  bool fits = !from.empty();
  for (std::size_t at = 0; fits && (at = source.find(from, rest)) != std::string::npos; rest = at + from.size()) {
    done += source.substr(rest, at - rest);
    const std::string whole = done + to + source.substr(at + from.size());
    expected = done.size() < kTargetSize ? whole.substr(0, kTargetSize - 1) : expected;
    fits = done.size() < kTargetSize && whole.size() < kTargetSize;
    done += to;
  }
  assert(str_replace(source.c_str(), target.data(), from.c_str(), to.c_str()) == (fits ? 0 : -1));
  assert(std::string(target.data(), strnlen(target.data(), kTargetSize)) == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  std::string bytes(data, data + size);
  std::erase(bytes, '\0');
  std::istringstream lines(bytes);
  const int times = lines.get();
  std::string text;
  std::string from;
  std::string to;
  std::getline(std::getline(std::getline(lines, text), from), to);
  std::string repeated;
  for (int i = 0; i < times; ++i) {
    repeated += text;
  }
  checkPathAndQuoting(text);
  checkSplit(text, from, static_cast<std::size_t>(std::max(times, 1)));
  checkReplacing(repeated, from, to);
  return 0;
}
