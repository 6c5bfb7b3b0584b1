// SPDX-License-Identifier: Apache-2.0
//
// The commands' interface to the command line. It hides CLI11, whose header is by far the slowest to compile, from all
// files but the few that handle the whole line.
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

/// An option or a positional argument: "--utc", "--from MOMENT", FILE.
class Option {
 public:
  explicit Option(CLI::Option *option) : option_(option) {}

  Option &required();
  Option &typeName(const std::string &name);  // the value's name in the help; empty for none
  Option &isOneOf(const std::vector<std::string> &words);
  Option &isBetween(unsigned lowest, unsigned highest);
  Option &takes(int least, int most);  // number of words
  Option &repeats();                   // the option may be given again, with one word each time
  Option &excludes(const Option &other);
  Option &proposes(std::vector<std::string> words);  // for completion; other values are allowed too
  [[nodiscard]] bool isGiven() const;

 private:
  CLI::Option *option_;
};

/// Returns the words that proposes() was called with.
std::vector<std::string> proposedFor(const CLI::Option *option);

/// A command, or a group of commands.
class Command {
 public:
  explicit Command(CLI::App *app) : app_(app) {}

  /// Adds a command whose help ends with an example that works when pasted.
  Command add(const std::string &name, const std::string &description, const std::string &example);
  void needsCommand();    // exactly one of those added
  void mayTakeCommand();  // one of those added, or none
  [[nodiscard]] bool hasCommand() const;

  Option flag(const std::string &names, bool &value, const std::string &description);

  /// Value is a text, a number or a vector of them. A name without a dash makes a positional argument. `value` must
  /// live until the commands have run.
  template <class Value>
  Option option(const std::string &names, Value &value, const std::string &description);

  void run(const std::function<void()> &work);

 private:
  CLI::App *app_;
};

}  // namespace vexora::tool
