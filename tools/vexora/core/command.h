// SPDX-License-Identifier: Apache-2.0
//
// The command line as the commands see it. CLI11 stays behind it, in the files that lay the whole line out: nothing
// else that the tool includes is nearly as large.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/tool.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace vexora::tool {

/// A word of the command line that has a meaning: "--utc", "--from MOMENT" or the FILE in its place.
class Option {
 public:
  explicit Option(CLI::Option *option) : option_(option) {}

  Option &required();
  Option &typeName(const std::string &name);  // what the help says that it takes; empty for nothing
  Option &isOneOf(const std::vector<std::string> &words);
  Option &isBetween(unsigned lowest, unsigned highest);
  Option &takes(int least, int most);  // words
  Option &repeats();                   // one word each time
  Option &excludes(const Option &other);
  Option &proposes(std::vector<std::string> words);  // for completion: other values are allowed, too
  [[nodiscard]] bool isGiven() const;

 private:
  CLI::Option *option_;
};

/// What proposes() has said about an option.
std::vector<std::string> proposedFor(const CLI::Option *option);

/// A command, or a group of commands.
class Command {
 public:
  explicit Command(CLI::App *app) : app_(app) {}

  /// Adds a command whose help ends with an example that works when pasted.
  Command add(const std::string &name, const std::string &description, const std::string &example);
  void needsCommand();    // one of those added
  void mayTakeCommand();  // or none
  [[nodiscard]] bool hasCommand() const;

  Option flag(const std::string &names, bool &value, const std::string &description);

  /// Value: what the argument is turned into, a text, a number or several of them. Names without a dash make it a word
  /// in its place.
  template <class Value>
  Option option(const std::string &names, Value &value, const std::string &description);

  void run(const std::function<void()> &work);

 private:
  CLI::App *app_;
};

}  // namespace vexora::tool
