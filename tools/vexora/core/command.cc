// SPDX-License-Identifier: Apache-2.0
#include "core/command.h"

#include <CLI/CLI.hpp>
#include <map>

namespace vexora::tool {
namespace {

std::map<const CLI::Option *, std::vector<std::string>> proposed;

}  // namespace

Option &Option::proposes(std::vector<std::string> words) {
  proposed[option_] = std::move(words);
  return *this;
}

std::vector<std::string> proposedFor(const CLI::Option *option) { return proposed[option]; }

Option &Option::required() {
  option_->required();
  return *this;
}

Option &Option::typeName(const std::string &name) {
  option_->type_name(name);
  return *this;
}

Option &Option::isOneOf(const std::vector<std::string> &words) {
  option_->check(CLI::IsMember(words));
  return *this;
}

Option &Option::isBetween(unsigned lowest, unsigned highest) {
  option_->check(CLI::Range(lowest, highest));
  return *this;
}

Option &Option::takes(int least, int most) {
  option_->expected(least, most);
  return *this;
}

Option &Option::repeats() {
  option_->allow_extra_args(false);
  return *this;
}

Option &Option::excludes(const Option &other) {
  option_->excludes(other.option_);
  return *this;
}

bool Option::isGiven() const { return option_->count() > 0; }

Command Command::add(const std::string &name, const std::string &description, const std::string &example) {
  CLI::App *command = app_->add_subcommand(name, description);
  command->footer("Example:\n  " + example);
  return Command(command);
}

void Command::needsCommand() { app_->require_subcommand(1); }

void Command::mayTakeCommand() { app_->require_subcommand(0, 1); }

bool Command::hasCommand() const { return !app_->get_subcommands().empty(); }

Option Command::flag(const std::string &names, bool &value, const std::string &description) {
  return Option(app_->add_flag(names, value, description));
}

template <class Value>
Option Command::option(const std::string &names, Value &value, const std::string &description) {
  return Option(app_->add_option(names, value, description));
}

template Option Command::option(const std::string &, std::string &, const std::string &);
template Option Command::option(const std::string &, std::vector<std::string> &, const std::string &);
template Option Command::option(const std::string &, unsigned &, const std::string &);
template Option Command::option(const std::string &, std::vector<unsigned> &, const std::string &);

void Command::run(const std::function<void()> &work) { app_->callback(work); }

}  // namespace vexora::tool
