// SPDX-License-Identifier: Apache-2.0
//
// Any validator or word table of the library by name, with the reason of a refusal. The library only says yes or no,
// and sometimes a line of text; where a value goes wrong shows in how much of its beginning is accepted.

#include "settings/kinds.h"

#include <vexora/text.h>

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>

#include "settings/commands.h"

namespace vexora::tool {
namespace {

// Beginnings of longer values aren't tried.
constexpr std::size_t kMostBeginnings = 4096;

struct CheckArguments {
  std::string kind;
  std::string value;
  bool list = false;
};

/// The length of the longest beginning that is accepted, with what remains being to blame.
std::optional<std::size_t> acceptedLength(const Validator &validator, const std::string &value) {
  if (!validator.piecewise || value.size() > kMostBeginnings) {
    return std::nullopt;
  }
  for (std::size_t length = value.size(); length-- > 1;) {
    if (validator.accepts(value.substr(0, length))) {
      return length;
    }
  }
  return std::nullopt;
}

std::string lastLine(std::string text) {
  text.erase(std::min(text.find_last_not_of('\n') + 1, text.size()));
  return text.substr(text.rfind('\n') + 1);
}

void answer(Session &session, const std::string &kind, const std::string &verdict, const Json &document) {
  if (session.json) {
    session.answer(document);
  } else {
    std::cout << kind << ": " << verdict;
  }
}

void checkBy(Session &session, const Validator &validator, const std::string &value) {
  bool accepted = false;
  const std::string said = lastLine(captured([&] { accepted = validator.accepts(value); }));
  Json document = object({{"kind", validator.name}, {"function", validator.function}, {"accepted", accepted}});
  if (accepted) {
    answer(session, validator.name, coloured("accepted", 32) + "\n", document);
    return;
  }
  std::optional<std::size_t> good;
  captured([&] { good = acceptedLength(validator, value); });
  std::string reason = std::string("takes ") + validator.rule;
  std::string verdict = coloured("refused", 31) + "\n  " + reason + "\n";
  document.add("reason", reason);
  if (good) {
    const std::size_t length = std::max<std::size_t>(utf8Length(std::string_view(value).substr(*good)), 1);
    verdict += "  wrong from character " + std::to_string(*good + 1) + " on: \"" +
               printable(value.substr(*good, length)) + "\"; what stands before it alone would be accepted\n";
    document.add("acceptedLength", *good);
  }
  if (!said.empty()) {
    verdict += "  the library says: " + printable(said) + "\n";
    document.add("message", said);
  }
  answer(session, validator.name, verdict, document);
  session.found(kFinding);
}

std::string wordsOf(const WordTable &table) {
  std::string words;
  for (const char *word : table.words) {
    words += word == nullptr ? "" : (words.empty() ? "\"" : ", \"") + std::string(word) + "\"";
  }
  return words;
}

void checkBy(Session &session, const WordTable &table, const std::string &value) {
  unsigned char index = 0;
  const bool accepted =
      ValidateStrToOrder(table.words.data(), value.c_str(), static_cast<int>(table.words.size()), &index) == 0;
  Json document = object({{"kind", table.name}, {"table", table.table}, {"accepted", accepted}});
  if (accepted) {
    document.add("number", index);
    answer(session, table.name, coloured("accepted", 32) + ", number " + std::to_string(index) + "\n", document);
    return;
  }
  const std::string reason = "takes one of " + wordsOf(table) + ", letter by letter";
  document.add("reason", reason);
  answer(session, table.name, coloured("refused", 31) + "\n  " + reason + "\n", document);
  session.found(kFinding);
}

void listKinds(Session &session) {
  Json kinds = array();
  for (const Validator &validator : validators()) {
    kinds.append(object({{"kind", validator.name}, {"function", validator.function}, {"takes", validator.rule}}));
  }
  for (const WordTable &table : wordTables()) {
    const Json words = list(table.words, [](const char *word) { return Json(word); });
    kinds.append(object({{"kind", table.name}, {"table", table.table}, {"takes", table.meaning}, {"words", words}}));
  }
  if (session.json) {
    session.answer(object({{"kinds", kinds}}));
    return;
  }
  std::cout << std::left;
  for (const Validator &validator : validators()) {
    std::cout << std::setw(20) << validator.name << " " << validator.rule << "\n";
  }
  for (const WordTable &table : wordTables()) {
    std::cout << std::setw(20) << table.name << " " << table.meaning << ": " << wordsOf(table) << "\n";
  }
}

void check(Session &session, const CheckArguments &arguments) {
  if (arguments.list) {
    listKinds(session);
    return;
  }
  for (const Validator &validator : validators()) {
    if (arguments.kind == validator.name || arguments.kind == validator.function) {
      checkBy(session, validator, arguments.value);
      return;
    }
  }
  for (const WordTable &table : wordTables()) {
    if (arguments.kind == table.name || arguments.kind == table.table) {
      checkBy(session, table, arguments.value);
      return;
    }
  }
  throw Failure(kUsage, "no kind " + printable(arguments.kind) + "; \"vexora check --list\" names them");
}

}  // namespace

void addCheck(Command app, Session &session) {
  Command command = app.add("check",
                            "Checks a value as the daemons do, and says why it is refused.\nA value that begins "
                            "with a hyphen needs \"--\" before it. Kinds may also be named by the library's "
                            "function or table.",
                            "vexora check hostname bmc-7");
  auto arguments = std::make_shared<CheckArguments>();
  Option everything = command.flag("-l,--list", arguments->list, "List the kinds and what they take");
  std::vector<std::string> kinds;
  for (const Validator &validator : validators()) {
    kinds.emplace_back(validator.name);
  }
  for (const WordTable &table : wordTables()) {
    kinds.emplace_back(table.name);
  }
  Option kind = command.option("KIND", arguments->kind, "What the value is to be").typeName("").proposes(kinds);
  Option value = command.option("VALUE", arguments->value, "The value").typeName("");
  command.run([&session, arguments, everything, kind, value] {
    if (!everything.isGiven() && (!kind.isGiven() || !value.isGiven())) {
      throw Failure(kUsage, "check takes KIND and VALUE, or --list");
    }
    check(session, *arguments);
  });
}

}  // namespace vexora::tool
