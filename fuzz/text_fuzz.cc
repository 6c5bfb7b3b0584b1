// SPDX-License-Identifier: Apache-2.0
//
// Text utilities against plain models. An input is a number (one byte) and three lines: a text, one to look for and one
// to put in its place. For replacing, the text is repeated that many times, so that short inputs fill the target.

#include <algorithm>
#include <cstring>
#include <regex>
#include <sstream>
#include <vector>

#include "target.h"
#include "vexora/text.h"

namespace {

// Each model returns the difference, or an empty text.
std::string pathOrQuotingDiffers(const std::string &text) {
  static const std::regex path("/([[:alnum:]_]+/?-?.?:?)+", std::regex::extended | std::regex_constants::__polynomial);
  static const std::regex quoted(R"([\\'])");
  char *const result = escaper(strdup("before"), text.c_str());
  const bool isQuoted = std::regex_replace(text, quoted, R"(\$&)") == result;
  std::free(result);
  const bool isJudged = is_valid_path(text.c_str()) == (std::regex_match(text, path) ? 0 : -1);
  return isQuoted && isJudged ? "" : "path or quoting of " + text;
}

std::string splitDiffers(const std::string &text, const std::string &delimiters, std::size_t slots) {
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
  return split == left && tokens == expected ? "" : "split of " + text + " by " + delimiters;
}

// The target has no terminator after the copy of the source.
std::string replacingDiffers(const std::string &source, const std::string &from, const std::string &to) {
  constexpr std::size_t kSize = VEXORA_REPLACE_TARGET_SIZE;
  std::string expected = source;
  expected.resize(kSize, 'x');
  std::vector<char> target(expected.begin(), expected.end());
  std::string done;
  std::size_t rest = 0;
  bool fits = !from.empty();
  for (std::size_t at = 0; fits && (at = source.find(from, rest)) != std::string::npos; rest = at + from.size()) {
    done += source.substr(rest, at - rest);
    const std::string whole = done + to + source.substr(at + from.size());
    expected = done.size() < kSize ? whole.substr(0, kSize - 1) : expected;
    fits = done.size() < kSize && whole.size() < kSize;
    done += to;
  }
  const int result = str_replace(source.c_str(), target.data(), from.c_str(), to.c_str());
  const bool isReplaced = std::string(target.data(), strnlen(target.data(), kSize)) == expected;
  return result == (fits ? 0 : -1) && isReplaced ? "" : "replacing " + from + " by " + to + " in " + source;
}

}  // namespace

// The reports of refused paths and full targets are dropped: there are thousands a second.
extern "C" void XDBG_LINUXAPP_DbgOut(int, const char *, ...) {}

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
  for (const std::string &difference :
       {pathOrQuotingDiffers(text), splitDiffers(text, from, static_cast<std::size_t>(std::max(times, 1))),
        replacingDiffers(repeated, from, to)}) {
    require(difference.empty(), difference.c_str());
  }
  return 0;
}
