// SPDX-License-Identifier: Apache-2.0
//
// vexora check: calls any validator or word table of the library by name. The library only accepts or refuses,
// sometimes with a line of text. The longest accepted beginning of a value shows where the mistake is.

#include "settings/kinds.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>

#include "settings/commands.h"

namespace vexora::tool {
namespace {

// The search calls the validator once per character, so longer values aren't searched.
constexpr std::size_t kMaxBeginnings = 4096;

struct CheckArguments {
  std::string kind;
  std::string value;
  bool list = false;
};

/// Returns the length of the longest accepted beginning: the mistake is after it.
std::optional<std::size_t> acceptedLength(const Kind &kind, const std::string &value) {
  if (!kind.piecewise || value.size() > kMaxBeginnings) {
    return std::nullopt;
  }
  for (std::size_t length = value.size(); length-- > 1;) {
    if (takes(kind, value.substr(0, length))) {
      return length;
    }
  }
  return std::nullopt;
}

const char *libraryKey(const Kind &kind) { return kind.words.empty() ? "function" : "table"; }

void checkBy(Session &session, const Kind &kind, const std::string &value) {
  const std::string reason = refusal(kind, value);
  const auto number = numberOf(kind, value);
  session.answer(object({{"kind", kind.name}, {libraryKey(kind), kind.library}, {"accepted", reason.empty()}}));
  std::string verdict = coloured("accepted", 32) + (number ? ", number " + std::to_string(*number) : "") + "\n";
  if (number) {
    session.answer(object({{"number", *number}}));
  }
  if (!reason.empty()) {
    session.found(kFinding);
    session.answer(object({{"reason", reason}}));
    verdict = coloured("refused", 31) + "\n  " + printable(reason) + "\n";
    std::optional<std::size_t> good;
    captured([&] { good = acceptedLength(kind, value); });
    if (good) {
      const std::size_t length = std::max<std::size_t>(utf8Length(std::string_view(value).substr(*good)), 1);
      verdict += "  wrong from character " + std::to_string(*good + 1) + " on: \"" +
                 printable(value.substr(*good, length)) + "\"; the part before it would be accepted\n";
      session.answer(object({{"acceptedLength", *good}}));
    }
  }
  std::cout << (session.json ? "" : kind.name + (": " + verdict));
}

void listKinds(Session &session) {
  Json all = array();
  std::cout << std::left;
  for (const Kind &kind : kinds()) {
    Json one = object({{"kind", kind.name}, {libraryKey(kind), kind.library}, {"takes", kind.meaning}});
    if (!kind.words.empty()) {
      one.add("words", list(kind.words, [](const char *word) { return Json(word); }));
    }
    all.append(one);
    if (!session.json) {
      std::cout << std::setw(20) << kind.name << " " << kind.meaning << (kind.words.empty() ? "" : ": ")
                << wordsOf(kind) << "\n";
    }
  }
  session.answer(object({{"kinds", all}}));
}

void check(Session &session, const CheckArguments &arguments) {
  const Kind *kind = arguments.list ? nullptr : kindNamed(arguments.kind);
  if (arguments.list) {
    listKinds(session);
  } else if (kind != nullptr) {
    checkBy(session, *kind, arguments.value);
  } else {
    throw Failure(kUsage, "no kind " + printable(arguments.kind) + "; \"vexora check --list\" names them");
  }
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
  std::vector<std::string> names;
  for (const Kind &one : kinds()) {
    names.emplace_back(one.name);
  }
  Option kind = command.option("KIND", arguments->kind, "What the value is to be").typeName("").proposes(names);
  Option value = command.option("VALUE", arguments->value, "The value").typeName("");
  command.run([&session, arguments, everything, kind, value] {
    if (!everything.isGiven() && (!kind.isGiven() || !value.isGiven())) {
      throw Failure(kUsage, "check takes KIND and VALUE, or --list");
    }
    check(session, *arguments);
  });
}

}  // namespace vexora::tool
