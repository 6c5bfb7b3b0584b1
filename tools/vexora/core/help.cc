// SPDX-License-Identifier: Apache-2.0
#include "core/help.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <sstream>

#include "core/command.h"

namespace vexora::tool {
namespace {

constexpr std::size_t kWidth = 100;

std::string firstSentence(const std::string &text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool last = i + 1 == text.size() || text[i + 1] == ' ' || text[i + 1] == '\n';
    if (text[i] == '\n' || (last && (text[i] == '.' || text[i] == ':'))) {
      return text.substr(0, i);
    }
  }
  return text;
}

/// Breaks lines at blanks; those that begin with a blank are left as they are.
std::string wrapped(const std::string &text) {
  std::istringstream lines(text);
  std::string result;
  for (std::string line; std::getline(lines, line);) {
    while (line.size() > kWidth && line[0] != ' ') {
      const std::size_t at = line.rfind(' ', kWidth);
      if (at == std::string::npos) {
        break;
      }
      result += line.substr(0, at) + "\n";
      line.erase(0, at + 1);
    }
    result += line + "\n";
  }
  return result;
}

/// What an option takes: a name for it or the words that it is one of; CLI11 would add "TEXT:".
std::string valueOf(const CLI::Option &option) {
  std::string type = option.get_type_size() == 0 ? "" : option.get_type_name();
  for (const std::string_view prefix : {"TEXT", ":"}) {
    type.erase(0, type.starts_with(prefix) ? prefix.size() : 0);
  }
  return type;
}

class Layout : public CLI::Formatter {
 public:
  std::string make_description(const CLI::App *app) const override { return wrapped(app->get_description()); }
  std::string make_footer(const CLI::App *app) const override { return wrapped(app->get_footer()); }
  std::string make_option_opts(const CLI::Option *option) const override {
    const std::string value = valueOf(*option);
    return (value.empty() ? "" : " " + value) + (option->get_expected_max() > 1 ? " ..." : "");
  }
  std::string make_option_desc(const CLI::Option *option) const override {
    return option->get_description() + (option->get_required() && option->nonpositional() ? " (required)" : "");
  }
  std::string make_subcommand(const CLI::App *sub) const override {
    std::ostringstream line;
    CLI::detail::format_help(line, sub->get_name(), firstSentence(sub->get_description()), get_column_width());
    return line.str();
  }
};

std::vector<const CLI::App *> commandsOf(const CLI::App &app) {
  return app.get_subcommands([](const CLI::App *) { return true; });
}

std::vector<const CLI::Option *> optionsOf(const CLI::App &app, bool positional) {
  return app.get_options([positional](const CLI::Option *option) {
    return option->get_positional() == positional && !option->get_group().empty();
  });
}

std::string fullName(const CLI::App &app) {
  return app.get_parent() == nullptr ? app.get_name() : fullName(*app.get_parent()) + " " + app.get_name();
}

/// A command and all below it, in the order of their listing.
void collect(const CLI::App &app, std::vector<const CLI::App *> &all) {
  all.push_back(&app);
  for (const CLI::App *command : commandsOf(app)) {
    collect(*command, all);
  }
}

std::string inRoff(const std::string &text) {
  std::string roff;
  for (const char character : text) {
    const bool lineStart = roff.empty() || roff.back() == '\n';
    if (lineStart && (character == '.' || character == '\'')) {
      roff += "\\&";
    }
    if (character == '\\') {
      roff += "\\e";
    } else if (character == '-') {
      roff += "\\-";
    } else {
      roff += character;
    }
  }
  return roff;
}

/// Lines that begin with a blank, such as those of a table, are shown as they are.
std::string paragraphs(const std::string &text) {
  std::istringstream lines(text);
  std::string roff;
  bool verbatim = false;
  for (std::string line; std::getline(lines, line);) {
    const bool indented = line.starts_with(' ');
    if (indented != verbatim) {
      roff += indented ? ".PP\n.EX\n" : ".EE\n.PP\n";
      verbatim = indented;
    } else if (!indented && !roff.empty()) {
      roff += line.empty() ? ".PP\n" : ".br\n";
    }
    roff += line.empty() ? "" : inRoff(line) + "\n";
  }
  return roff + (verbatim ? ".EE\n" : "");
}

std::string usage(const CLI::App &app) {
  std::string line = ".B " + inRoff(fullName(app)) + "\n";
  for (const CLI::Option *option : optionsOf(app, true)) {
    const std::string name = option->get_name(true) + (option->get_expected_max() > 1 ? "..." : "");
    line += ".I " + inRoff(option->get_required() ? name : "[" + name + "]") + "\n";
  }
  if (!commandsOf(app).empty()) {
    line += std::string(".I ") + (app.get_require_subcommand_min() > 0 ? "COMMAND" : "[COMMAND]") + "\n";
  }
  return line;
}

std::string optionEntry(const CLI::Option &option) {
  std::string entry =
      ".TP\n.B " + inRoff(option.get_positional() ? option.get_name(true) : option.get_name(false, true));
  if (const std::string value = valueOf(option); !value.empty()) {
    entry += " " + inRoff(value);
  }
  return entry + "\n" + inRoff(option.get_description()) + "\n";
}

void printEntries(const CLI::App &app) {
  for (const bool positional : {true, false}) {
    for (const CLI::Option *option : optionsOf(app, positional)) {
      if (app.get_parent() == nullptr || option != app.get_help_ptr()) {
        std::cout << optionEntry(*option);
      }
    }
  }
}

void printManual(const CLI::App &app) {
  std::vector<const CLI::App *> all;
  collect(app, all);
  const std::string &description = app.get_description();
  std::cout << ".\\\" SPDX-License-Identifier: Apache-2.0\n.TH VEXORA 1\n.SH NAME\nvexora \\- "
            << inRoff(firstSentence(description)) << "\n.SH SYNOPSIS\n"
            << usage(app) << ".I [ARGUMENT]...\n.SH DESCRIPTION\n"
            << paragraphs(description) << ".SH OPTIONS\n";
  printEntries(app);
  std::cout << ".SH COMMANDS\n";
  for (const CLI::App *command : all) {
    if (command == &app) {
      continue;
    }
    std::cout << ".SS " << inRoff(fullName(*command)) << "\n"
              << usage(*command) << ".PP\n"
              << paragraphs(command->get_description());
    printEntries(*command);
    if (!command->get_footer().empty()) {
      std::cout << ".PP\n" << paragraphs(command->get_footer());
    }
  }
  std::cout << ".SH EXIT STATUS\n" << paragraphs(app.get_footer());
}

/// What may follow a command: the commands below it, its options, and the values that an argument is one of.
std::string wordsAfter(const CLI::App &app) {
  std::string words;
  for (const CLI::App *command : commandsOf(app)) {
    words += command->get_name() + " ";
  }
  for (const CLI::App *level = &app; level != nullptr; level = level->get_parent()) {
    for (const CLI::Option *option : optionsOf(*level, false)) {
      for (const std::string &name : option->get_lnames()) {
        const std::string word = "--" + name + " ";
        words += words.find(word) == std::string::npos ? word : "";
      }
    }
  }
  for (const CLI::Option *option : optionsOf(app, true)) {
    const std::string type = option->get_type_name();
    const std::size_t begin = type.find('{');
    const std::size_t end = type.find('}');
    if (begin != std::string::npos && end != std::string::npos && begin < end) {
      std::string values = type.substr(begin + 1, end - begin - 1);
      std::replace(values.begin(), values.end(), ',', ' ');
      words += values + " ";
    }
  }
  words.pop_back();
  return words;
}

void printCompletion(const CLI::App &app) {
  std::vector<const CLI::App *> all;
  collect(app, all);
  std::string names;
  std::string cases;
  for (const CLI::App *command : all) {
    if (command != &app) {
      names += (names.empty() ? "'" : " | '") + fullName(*command) + "'";
    }
    cases += "    '" + fullName(*command) + "') words='" + wordsAfter(*command) + "' ;;\n";
  }
  std::cout << "# SPDX-License-Identifier: Apache-2.0\n"
               "_vexora() {\n"
               "  local command=vexora words='' word\n"
               "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
               "    case \"$command $word\" in\n"
               "      "
            << names
            << ") command=\"$command $word\" ;;\n"
               "    esac\n"
               "  done\n"
               "  case $command in\n"
            << cases
            << "  esac\n"
               "  # File names come from the shell itself, where none of the words fits.\n"
               "  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"${COMP_WORDS[COMP_CWORD]}\")\n"
               "}\n"
               "complete -o default -F _vexora vexora\n";
}

}  // namespace

void layHelpOut(CLI::App &app) {
  auto layout = std::make_shared<Layout>();
  layout->column_width(26);

  app.formatter(layout);
}

void addHelp(CLI::App &app) {
  Command help =
      Command(&app).add("help", "Writes the manual page or the shell's completion.", "vexora help man >vexora.1");
  help.needsCommand();
  help.add("man", "Writes the manual page.", "vexora help man >vexora.1").run([&app] { printManual(app); });
  help.add("completion", "Writes the completion for bash.", "eval \"$(vexora help completion)\"").run([&app] {
    printCompletion(app);
  });
}

}  // namespace vexora::tool
