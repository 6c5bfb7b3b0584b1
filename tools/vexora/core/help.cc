// SPDX-License-Identifier: Apache-2.0
#include "core/help.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <sstream>

#include "core/command.h"
#include "core/line.h"

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

/// Breaks lines at blanks, except lines that begin with a blank, such as those of a table.
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

/// Appends a command and all its subcommands, depth first.
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

/// Makes roff paragraphs. Lines that begin with a blank, such as those of a table, are copied verbatim.
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

std::string entries(const CLI::App &app) {
  std::string text;
  for (const bool positional : {true, false}) {
    for (const CLI::Option *option : optionsOf(app, positional)) {
      text += app.get_parent() == nullptr || option != app.get_help_ptr() ? optionEntry(*option) : "";
    }
  }
  return text;
}

// The manual page's last sections.
constexpr const char *kSections = R"(.SH EXIT STATUS
.TP
.B 0
All is fine.
.TP
.B 1
A finding, such as damage or a refused value.
.TP
.B 2
Wrong usage.
.TP
.B 3
Something could not be read or written, standard output included.
.SH JSON
With \fB\-\-json\fR a run writes exactly one document to standard output, whatever its exit status. Each has the
members \fIversion\fR (1), \fIcommand\fR, \fIstatus\fR (the exit status), \fIfindings\fR (an array of objects
with \fIplace\fR, \fIreason\fR and, of some commands, \fIkind\fR and more) and, where a run failed, \fIerror\fR.
The rest is the command's own, as in
.BR vexora\-tool\-json (5).
What a command would write
to standard output itself needs a file's name then.
.SH FILES
Inside \fB\-\-root\fR \fIDIR\fR, where that is given.
.TP
.I /conf/vexora_debug/\fR, \fI/var/vexora_debug_reload
The debug log's switches.
.TP
.I /extlog/syslog/WDT.log
The watchdog log.
.TP
.I /extlog/syslog/history_data.dat
The sensor history.
.TP
.I /conf/SmtpCfg.json\fR, \fI/conf/SnmpTrapCfg.json\fR, \fI/conf/SnmpAgentCfg.json
Settings, with their defaults in \fI/etc/defconfig/\fR.
.TP
.I /conf/eventsubscriptions.conf
The destinations of events.
.SH ENVIRONMENT
.TP
.B NO_COLOR
Not empty: no colours. Neither are there any where standard output is no terminal.
.TP
.B COLUMNS
The width of charts where standard output is no terminal; 80 without it.
.TP
.B TZ
The time zone of this machine's local times.
.SH SEE ALSO
.BR vexora\-tool\-json (5),
.BR vexora\-debug\-log (5),
.BR vexora\-history\-data\-file (5),
.BR vexora\-configuration\-files (5),
.BR vexora\-power\-cuts (5)
)";

std::string manual(const CLI::App &app) {
  std::vector<const CLI::App *> all;
  collect(app, all);
  const std::string &description = app.get_description();
  std::string text = ".\\\" SPDX-License-Identifier: Apache-2.0\n.TH VEXORA 1\n.SH NAME\nvexora \\- " +
                     inRoff(firstSentence(description)) + "\n.SH SYNOPSIS\n" + usage(app) +
                     ".I [ARGUMENT]...\n.SH DESCRIPTION\n" + paragraphs(description) + ".SH OPTIONS\n" + entries(app) +
                     ".SH COMMANDS\n";
  for (const CLI::App *command : all) {
    if (command == &app) {
      continue;
    }
    text += ".SS " + inRoff(fullName(*command)) + "\n" + usage(*command) + ".PP\n" +
            paragraphs(command->get_description()) + entries(*command) +
            (command->get_footer().empty() ? "" : ".PP\n" + paragraphs(command->get_footer()));
  }
  return text + kSections;
}

struct Shell {
  const char *name;
  const char *script;
};

// The scripts ask the program for the words that may follow. If there are none, the shell completes file names.
constexpr Shell kShells[] = {{"bash", R"sh(# SPDX-License-Identifier: Apache-2.0
_vexora() {
  local word=${COMP_WORDS[COMP_CWORD]}
  mapfile -t COMPREPLY < <(compgen -W "$(vexora help words -- "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)" -- "$word")
  [[ ${COMPREPLY[*]} != *= ]] || compopt -o nospace 2>/dev/null
}
complete -o default -F _vexora vexora
)sh"},
                             {"zsh", R"sh(#compdef vexora
# SPDX-License-Identifier: Apache-2.0
_vexora() {
  local -a found
  found=(${(f)"$(vexora help words -- "${(@)words[2,CURRENT]}" 2>/dev/null)"})
  compadd -- ${found:#*=}
  compadd -S '' -- ${(M)found:#*=}
  _files
}
if [[ $funcstack[1] == _vexora ]]; then
  _vexora "$@"
else
  compdef _vexora vexora
fi
)sh"},
                             {"fish", R"sh(# SPDX-License-Identifier: Apache-2.0
complete -c vexora -a '(vexora help words -- (commandline -opc)[2..] (commandline -ct) 2>/dev/null)'
)sh"}};

std::string scriptFor(const std::string &shell) {
  const Shell *found =
      std::find_if(std::begin(kShells), std::end(kShells), [&](const Shell &one) { return shell == one.name; });
  return found->script;
}

}  // namespace

void layHelpOut(CLI::App &app) {
  auto layout = std::make_shared<Layout>();
  layout->column_width(26);

  app.formatter(layout);
}

void addHelp(CLI::App &app, Session &session) {
  const auto answer = [&session](const std::string &text) {
    session.answer(object({{"text", text}}));
    std::cout << (session.json ? "" : text);
  };
  auto words = std::make_shared<std::vector<std::string>>();
  Command help =
      Command(&app).add("help", "Shows the help of a command; writes the manual page and shells' completion.",
                        "vexora help history show");
  help.mayTakeCommand();
  help.option("COMMAND", *words, "The command's words").proposes(commandNames(app));
  help.run([help, answer, words, &app] {
    if (!help.hasCommand()) {
      const CLI::App &command = commandNamed(app, *words);
      answer(command.help(command.get_parent() == nullptr ? "" : fullName(*command.get_parent())));
    }
  });
  help.add("man", "Writes the manual page.", "vexora help man >vexora.1").run([answer, &app] { answer(manual(app)); });
  auto shell = std::make_shared<std::string>("bash");
  Command completion =
      help.add("completion", "Writes the completion for a shell.", "eval \"$(vexora help completion bash)\"");
  completion.option("SHELL", *shell, "The shell, bash without it").isOneOf({"bash", "zsh", "fish"});
  completion.run([answer, shell] { answer(scriptFor(*shell)); });
  Command completing = help.add("words", "Lists the words that may follow a line, for the completion.",
                                "vexora help words -- history ''");
  completing.option("WORD", *words, "The line without the program's name; the last word may have begun");
  completing.run([answer, words, &app] { answer(CLI::detail::join(wordsFor(app, *words), "\n") + "\n"); });
}

}  // namespace vexora::tool
