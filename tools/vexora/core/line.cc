// SPDX-License-Identifier: Apache-2.0
#include "core/line.h"

#include <algorithm>

#include "core/command.h"

namespace vexora::tool {
namespace {

/// Returns how many letters must be added, removed, replaced or swapped with their neighbour to turn `a` into `b`.
std::size_t distance(const std::string &a, const std::string &b) {
  std::vector<std::vector<std::size_t>> steps(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        steps[i][j] = i + j;
        continue;
      }
      const std::size_t replaced = steps[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      steps[i][j] = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, replaced});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
      }
    }
  }
  return steps[a.size()][b.size()];
}

/// Returns "; did you mean show?", or "" when none of the words is near.
std::string proposal(const std::string &word, const std::vector<std::string> &words) {
  const auto nearest = std::min_element(
      words.begin(), words.end(), [&](const auto &a, const auto &b) { return distance(word, a) < distance(word, b); });
  const bool isNear = nearest != words.end() && distance(word, *nearest) <= 1 + word.size() / 3;
  return isNear ? "; did you mean " + *nearest + "?" : "";
}

/// Returns the long options of a command and of its parents, which a line may give there too.
std::vector<std::string> optionNames(const CLI::App &app) {
  std::vector<std::string> names;
  for (const CLI::App *level = &app; level != nullptr; level = level->get_parent()) {
    for (const CLI::Option *option : optionsOf(*level, false)) {
      for (const std::string &name : option->get_lnames()) {
        if (std::find(names.begin(), names.end(), "--" + name) == names.end()) {
          names.push_back("--" + name);
        }
      }
    }
  }
  return names;
}

const CLI::App *commandBelow(const CLI::App &app, const std::string &name) {
  const std::vector<const CLI::App *> all = commandsOf(app);
  const auto found = std::find_if(all.begin(), all.end(), [&](const auto *one) { return one->get_name() == name; });
  return found == all.end() ? nullptr : *found;
}

const CLI::Option *optionNamed(const CLI::App &app, const std::string &name) {
  for (const CLI::App *level = &app; level != nullptr; level = level->get_parent()) {
    if (const CLI::Option *option = level->get_option_no_throw(name)) {
      return option;
    }
  }
  return nullptr;
}

std::vector<std::string> valuesFor(const CLI::Option &option) {
  const std::string value = valueOf(option);
  return value.starts_with('{') ? CLI::detail::split(value.substr(1, value.size() - 2), ',') : proposedFor(&option);
}

}  // namespace

std::vector<const CLI::App *> commandsOf(const CLI::App &app) {
  return app.get_subcommands([](const CLI::App *command) { return !command->get_group().empty(); });
}

std::vector<std::string> commandNames(const CLI::App &app) {
  std::vector<std::string> names;
  for (const CLI::App *command : commandsOf(app)) {
    names.push_back(command->get_name());
  }
  return names;
}

std::vector<const CLI::Option *> optionsOf(const CLI::App &app, bool positional) {
  return app.get_options([positional](const CLI::Option *option) {
    return option->get_positional() == positional && !option->get_group().empty();
  });
}

std::string fullName(const CLI::App &app) {
  return app.get_parent() == nullptr ? app.get_name() : fullName(*app.get_parent()) + " " + app.get_name();
}

const CLI::App &chosenOf(const CLI::App &app) {
  return app.get_subcommands().empty() ? app : chosenOf(*app.get_subcommands().front());
}

const CLI::App &commandNamed(const CLI::App &app, const std::vector<std::string> &words) {
  const CLI::App *command = &app;
  for (const std::string &word : words) {
    const CLI::App *below = commandBelow(*command, word);
    if (below == nullptr) {
      throw Failure(
          kUsage, printable(word) + " is no command of " + fullName(*command) + proposal(word, commandNames(*command)));
    }
    command = below;
  }
  return *command;
}

std::string complaintOf(const CLI::App &app, const CLI::ParseError &error) {
  const CLI::App &command = chosenOf(app);
  const std::vector<std::string> names = commandNames(command);
  std::vector<std::string> unknown = app.remaining(true);
  std::erase(unknown, "--");
  std::string text = error.what();
  if (!unknown.empty()) {
    const std::string &word = unknown.front();
    const bool isOption = word.starts_with('-');
    const char *what = isOption        ? " is no option of "
                       : names.empty() ? " is one argument too many for "
                                       : " is no command of ";
    text = printable(word) + what + fullName(command) + proposal(word, isOption ? optionNames(command) : names);
  } else if (!names.empty() && command.get_require_subcommand_min() > 0) {
    text = fullName(command) + " needs a command: " + CLI::detail::join(names, ", ");
  }
  return text + "\n'" + fullName(command) + " --help' shows more";
}

std::string valueOf(const CLI::Option &option) {
  std::string type = option.get_type_size() == 0 ? "" : option.get_type_name();
  for (const std::string_view prefix : {"TEXT", ":"}) {
    type.erase(0, type.starts_with(prefix) ? prefix.size() : 0);
  }
  return type;
}

std::vector<std::string> wordsFor(const CLI::App &app, const std::vector<std::string> &line) {
  const CLI::App *command = &app;
  const CLI::Option *waiting = nullptr;  // the option whose value comes next
  std::size_t place = 0;
  for (std::size_t i = 0; i + 1 < line.size(); ++i) {
    const CLI::App *below = commandBelow(*command, line[i]);
    if (waiting != nullptr || line[i].starts_with('-')) {
      const CLI::Option *option = waiting == nullptr ? optionNamed(*command, line[i]) : nullptr;
      waiting = option != nullptr && option->get_type_size() > 0 ? option : nullptr;
    } else if (below != nullptr) {
      command = below;
      place = 0;
    } else {
      ++place;
    }
  }
  if (waiting != nullptr) {
    return valuesFor(*waiting);
  }
  std::vector<std::string> words = commandNames(*command);
  const std::vector<const CLI::Option *> places = optionsOf(*command, true);
  if (!places.empty() && (place < places.size() || places.back()->get_expected_max() > 1)) {
    const std::vector<std::string> values = valuesFor(*places[std::min(place, places.size() - 1)]);
    words.insert(words.end(), values.begin(), values.end());
  }
  const bool isOption = !line.empty() && line.back().starts_with('-');
  return isOption || (words.empty() && places.empty()) ? optionNames(*command) : words;
}

}  // namespace vexora::tool
