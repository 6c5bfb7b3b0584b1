// SPDX-License-Identifier: Apache-2.0
#include "events/lines.h"

#include <algorithm>
#include <cstdlib>
#include <map>

#include "config/event_layout.h"
#include "core/tool.h"

namespace vexora::tool {
namespace {

using config::kMaxLine;

constexpr std::string_view kLineEnds = "\r\n";
constexpr std::string_view kBlanks = " \t";

std::string inQuotes(std::string_view text) { return "\"" + printable(text) + "\""; }

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t\r\n");
  return begin == std::string_view::npos ? "" : text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

bool isComment(std::string_view text) { return text.starts_with('#') || text.starts_with(';'); }

bool opensSection(std::string_view piece) { return piece.size() > 1 && piece[0] == '[' && piece[1] != ']'; }

bool isNumberKey(std::string_view key) { return key == "present" || key == "type"; }

bool isKey(std::string_view key) {
  return std::any_of(config::kNames.begin(), config::kNames.end(),
                     [&](const config::KeyName &name) { return key == name.data(); });
}

class Checker {
 public:
  explicit Checker(const std::string &path) : path_(path) {}

  void takeLine(std::string_view line) {
    ++line_;
    takeWhole(line.substr(0, line.find('\0')), line);
  }

  std::vector<Finding> findings;

 private:
  void report(const std::string &reason) {
    findings.push_back({path_ + ":" + std::to_string(line_), reason, {}, object({{"line", line_}})});
  }

  void takeWhole(std::string_view text, std::string_view line) {
    if (text.size() != line.size()) {
      report("ignored from its NUL character on");
    }
    takePiece(text.substr(0, std::min(text.size(), kMaxLine)));
    if (line.size() <= kMaxLine) {
      return;
    }
    const std::string_view rest = trimmed(line.substr(kMaxLine));
    if (rest.empty()) {
      return;
    }
    if (!isComment(trimmed(text))) {
      report("cut after " + std::to_string(kMaxLine) + " of " + std::to_string(line.find_last_not_of(kLineEnds) + 1) +
             " characters: the rest is read as a line of its own");
    }
    takeRest(line.substr(kMaxLine));
  }

  /// Reports only the pieces in which the loader finds a setting.
  void takeRest(std::string_view rest) {
    for (; !rest.empty(); rest.remove_prefix(std::min(rest.size(), kMaxLine))) {
      const std::string_view piece = rest.substr(0, std::min(rest.size(), kMaxLine));
      if (opensSection(piece) || isKey(piece.substr(0, piece.find('=')))) {
        report("its rest " + inQuotes(trimmed(piece)) + " is read as a setting");
        takePiece(piece);
      }
    }
  }

  void takePiece(std::string_view piece) {
    const std::string_view text = trimmed(piece);
    if (opensSection(piece)) {
      takeHeader(text);
    } else if (text.empty() || isComment(text)) {
      return;
    } else if (text.starts_with('[')) {
      report("ignored: no section's header" + std::string(piece[0] == '[' ? ", its name is empty" : ", after blanks"));
    } else if (section_ == 0) {
      report("ignored: " + inQuotes(text) + " is before the first section");
    } else if (section_ <= VEXORA_EVENT_SUBSCRIPTIONS) {
      takeSetting(piece);
    }
  }

  void takeHeader(std::string_view text) {
    ++section_;
    seen_.clear();
    if (section_ > VEXORA_EVENT_SUBSCRIPTIONS) {
      report("ignored with all that follows: the file has four sections");
      return;
    }
    const std::string expected = "[SubScription" + std::to_string(section_ - 1) + "]";
    if (!text.starts_with(expected)) {
      report("section " + inQuotes(text) + " fills slot " + std::to_string(section_ - 1) + ", whatever its name");
    }
  }

  void takeSetting(std::string_view piece) {
    const std::size_t equals = piece.find('=');
    if (equals == std::string_view::npos) {
      report("ignored: no '=' in " + inQuotes(trimmed(piece)));
      return;
    }
    const std::string_view key = piece.substr(0, equals);
    if (!isKey(key)) {
      report("ignored: " + unknownKey(key));
      return;
    }
    const auto [earlier, isFirst] = seen_.try_emplace(std::string(key), line_);
    if (!isFirst) {
      report("replaces the value of " + std::string(key) + " in line " + std::to_string(earlier->second));
      earlier->second = line_;
    }
    takeValue(key, piece.substr(equals + 1));
  }

  static std::string unknownKey(std::string_view key) {
    if (const std::string_view bare = trimmed(key); bare != key && isKey(bare)) {
      return "the blanks around " + inQuotes(bare) + " belong to the key";
    }
    if (const std::string lower = lowered(trimmed(key)); isKey(lower)) {
      return inQuotes(key) + " is no key, " + inQuotes(lower) + " is";
    }
    return trimmed(key).empty() ? "it has no key" : inQuotes(key) + " is no key";
  }

  void takeValue(std::string_view key, std::string_view value) {
    const char quote = value.empty() ? '\0' : value[0];
    const bool isQuoted = (quote == '"' || quote == '\'') && value.size() > 1 && value[1] != quote;
    const std::string_view read = isQuoted ? readQuoted(value) : readBare(value);
    const std::size_t end = read.find_first_of(kLineEnds);
    if (end != std::string_view::npos && !trimmed(read.substr(end)).empty()) {
      report("cut at a carriage return: reads as " + inQuotes(read.substr(0, end)));
    }
    checkMeaning(key, read.substr(0, end));
  }

  std::string_view readQuoted(std::string_view value) {
    const std::size_t closing = value.find(value[0], 1);
    if (closing == std::string_view::npos) {
      report("the closing quote is missing");
      return value.substr(1);
    }
    const std::string_view after = trimmed(value.substr(closing + 1));
    if (!after.empty() && !isComment(after)) {
      report("cut at the closing quote: " + inQuotes(after) + " is ignored");
    }
    return value.substr(1, closing - 1);
  }

  std::string_view readBare(std::string_view value) {
    const std::size_t end = value.find_first_of(";#");
    if (end != std::string_view::npos && (end == 0 || kBlanks.find(value[end - 1]) == std::string_view::npos)) {
      report("cut at '" + std::string(1, value[end]) + "', which begins a comment: reads as " +
             inQuotes(value.substr(0, end)) + "; enclose the value in quotes");
    }
    const std::string_view bare = value.substr(0, end);
    if (const std::string_view text = trimmed(bare); text == "\"\"" || text == "''") {
      report("reads as two quotes, not as the empty string");
    } else if (text.size() > 1 && bare[0] != text[0] && (text[0] == '"' || text[0] == '\'')) {
      report("the quotes belong to the value, as they follow blanks");
    }
    return bare;
  }

  void checkMeaning(std::string_view key, std::string_view value) {
    if (isNumberKey(key)) {
      checkNumber(key, trimmed(value));
      return;
    }
    if (const std::string_view text = trimmed(value); text != value) {
      report("the blanks around " + inQuotes(text) + " belong to the value");
    }
    if (value != config::kAbsent && lowered(trimmed(value)) == "n/a") {
      report(inQuotes(value) + " reads as a text; only \"N/A\" means absent");
    }
  }

  void checkNumber(std::string_view key, std::string_view value) {
    const unsigned most = key == "type" ? config::kTypeBits : UINT8_MAX;
    if (!value.starts_with("0x") && !value.starts_with("0X") && parseNumber(value, most)) {
      return;
    }
    const long read = std::strtol(std::string(value).c_str(), nullptr, 10) & static_cast<long>(most);
    report(std::string(key) + " is no number from 0 to " + std::to_string(most) + ": " + inQuotes(value) +
           " reads as " + std::to_string(read));
  }

  const std::string &path_;
  std::size_t line_ = 0;
  int section_ = 0;  // 0 before the first header
  std::map<std::string, std::size_t> seen_;
};

}  // namespace

std::vector<Finding> checkSubscriptions(std::string_view file, const std::string &path) {
  Checker checker(path);
  while (!file.empty()) {
    const std::size_t end = file.find('\n');
    const std::size_t length = end == std::string_view::npos ? file.size() : end + 1;
    checker.takeLine(file.substr(0, length));
    file.remove_prefix(length);
  }
  return checker.findings;
}

}  // namespace vexora::tool
