// SPDX-License-Identifier: Apache-2.0
//
// vexora log: the debug log's switches, which are marker files. Only their existence matters.

#include <vexora/diag.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>

#include "diag/log_layout.h"
#include "log/commands.h"

namespace vexora::tool {
namespace {

namespace fs = std::filesystem;

using diag::kReloadMarker;
using diag::kSwitchPrefix;

constexpr std::string_view kNone = "none";

/// Words, and a marker file for each.
struct Choice {
  std::span<const std::string_view> words;
  std::span<const char *const> markers;
};

constexpr std::string_view kLevelWords[] = {"info", "warning", "error", "critical"};
constexpr std::string_view kPathWords[] = {"serial", "log", "both"};
constexpr Choice kLevels{kLevelWords, diag::kLevelMarkers};
constexpr Choice kPaths{kPathWords, diag::kDestinationMarkers};

/// Returns the switches that exist, sorted; none when the directory is missing.
std::vector<std::string> switchedOn(const Session &session) {
  std::vector<std::string> names;
  std::error_code error;
  const fs::path directory = session.path(VEXORA_DEBUG_DIRECTORY "/");
  for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    const std::string name = entry->path().filename();
    if (name.starts_with(kSwitchPrefix)) {
      names.push_back(name.substr(kSwitchPrefix.size()));
    }
  }
  if (error && error != std::errc::no_such_file_or_directory) {
    throw Failure(kInaccessible, "cannot read " + directory.string() + ": " + error.message());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> knownModules() {
  std::vector<std::string> names;
  for (const char *known : DebugSourceFile) {
    names.emplace_back(std::string_view(known).substr(kSwitchPrefix.size()));
  }
  return names;
}

/// Returns the reasons why less is printed than the switches suggest.
std::vector<std::string> remarks(const std::vector<std::string> &on) {
  std::vector<std::string> said;
  if (GetDebugEanleLevel() < 0) {
    said.emplace_back("no level is set, so nothing is printed");
  }
  if (GetDebugEanlePath() < 0) {
    said.emplace_back("no path is set, so nothing is printed");
  } else if (GetDebugEanlePath() == diag::kLog) {
    said.emplace_back("the path is \"log\", to which nothing is printed");
  }
  if (on.empty()) {
    said.emplace_back("no module is switched on");
  }
  if (on.size() > diag::kModules) {
    said.push_back("only " + std::to_string(diag::kModules) + " of " + std::to_string(on.size()) + " switches count");
  }
  for (const std::string &name : on) {
    if (name.size() > diag::kModuleLength) {
      said.push_back(printable(name) + " is read as " + printable(name.substr(0, diag::kModuleLength)));
    }
  }
  return said;
}

/// The word of what the library returns; "none" where no marker exists.
std::string_view wordOf(const Choice &choice, int index) {
  return index < 0 ? kNone : choice.words[static_cast<std::size_t>(index)];
}

Json wordJson(std::string_view word) { return word == kNone ? Json() : Json(word); }

void show(Session &session) {
  const std::vector<std::string> on = switchedOn(session);
  const std::vector<std::string> said = remarks(on);
  const std::string_view level = wordOf(kLevels, GetDebugEanleLevel());
  const std::string_view path = wordOf(kPaths, GetDebugEanlePath());
  const bool reload = fs::exists(session.path(kReloadMarker));
  if (session.json) {
    session.answer(object({{"level", wordJson(level)},
                           {"path", wordJson(path)},
                           {"modules", list(on)},
                           {"reload", reload},
                           {"remarks", list(said)}}));
    return;
  }
  std::cout << "level    " << level << "\n"
            << "path     " << path << "\n"
            << "reload   " << (reload ? "on: running processes look again at every call" : "off") << "\n"
            << "modules\n";
  std::vector<std::string> names = knownModules();
  std::copy_if(on.begin(), on.end(), std::back_inserter(names),
               [](const std::string &name) { return GetSourceIsVaild(name.c_str()) != 1; });
  for (const std::string &name : names) {
    const bool isOn = std::find(on.begin(), on.end(), name) != on.end();
    std::cout << "  " << (isOn ? coloured("on ", 32) : "off") << "  " << printable(name) << "\n";
  }
  for (const std::string &remark : said) {
    std::cout << "note: " << remark << "\n";
  }
}

void make(const Session &session, std::string_view marker) {
  const std::string path = session.path(marker);
  std::error_code error;
  fs::create_directories(fs::path(path).parent_path(), error);
  if (!std::ofstream(path, std::ios::app)) {
    throw Failure(kInaccessible, "cannot make " + printable(path) + ": " + std::strerror(errno));
  }
}

void unmake(const Session &session, std::string_view marker) {
  const std::string path = session.path(marker);
  if (std::remove(path.c_str()) != 0 && errno != ENOENT) {
    throw Failure(kInaccessible, "cannot remove " + printable(path) + ": " + std::strerror(errno));
  }
}

std::string switchOf(const std::string &module) {
  if (module.empty() || module.size() > diag::kModuleLength || module.find('/') != std::string::npos) {
    throw Failure(kUsage, printable(module) + ": a module's name has 1 to " + std::to_string(diag::kModuleLength) +
                              " characters and no slash");
  }
  return std::string(VEXORA_DEBUG_DIRECTORY "/" VEXORA_SWITCH_PREFIX) + module;
}

void turn(Session &session, const std::vector<std::string> &modules, bool on) {
  // All names are checked before the first file changes.
  std::vector<std::string> markers;
  std::transform(modules.begin(), modules.end(), std::back_inserter(markers), switchOf);
  for (const std::string &marker : markers) {
    on ? make(session, marker) : unmake(session, marker);
  }
  for (const std::string &module : modules) {
    if (GetSourceIsVaild(module.c_str()) != 1) {
      std::cerr << "note: " << printable(module) << " is none of the modules that the firmware knows\n";
    }
  }
  show(session);
}

/// The library obeys the first marker that exists, so the others are removed.
void choose(Session &session, const Choice &choice, const std::string &word) {
  const auto chosen =
      static_cast<std::size_t>(std::find(choice.words.begin(), choice.words.end(), word) - choice.words.begin());
  if (chosen < choice.words.size()) {
    make(session, choice.markers[chosen]);
  }
  for (std::size_t i = 0; i < choice.words.size(); ++i) {
    if (i != chosen) {
      unmake(session, choice.markers[i]);
    }
  }
  show(session);
}

void addModules(Command log, Session &session, bool on) {
  Command command =
      on ? log.add("on", "Switches modules on, by files in /conf/vexora_debug.", "vexora log on ZELMONITOR IPMI")
         : log.add("off", "Switches modules off.", "vexora log off ZELMONITOR");
  auto modules = std::make_shared<std::vector<std::string>>();
  command.option("MODULE", *modules, "Modules, such as DEV, IPMI, REDFISH, SNMP, ZELMONITOR or CPLD")
      .required()
      .proposes(knownModules());
  command.run([&session, modules, on] { turn(session, *modules, on); });
}

void addChoice(Command command, Session &session, const Choice &choice, const char *argument) {
  std::vector<std::string> allowed(choice.words.begin(), choice.words.end());
  allowed.emplace_back(kNone);
  auto word = std::make_shared<std::string>();
  command.option(argument, *word, "One of these words").required().isOneOf(allowed);
  command.run([&session, &choice, word] { choose(session, choice, *word); });
}

void addReload(Command log, Session &session) {
  Command command = log.add("reload",
                            "Makes running processes look at the switches again, or stops that.\nWhile it is on, "
                            "each log call of each process reads the files.",
                            "vexora log reload on");
  auto word = std::make_shared<std::string>();
  command.option("STATE", *word, "on or off").required().isOneOf({"on", "off"});
  command.run([&session, word] {
    *word == "on" ? make(session, kReloadMarker) : unmake(session, kReloadMarker);
    show(session);
  });
}

}  // namespace

void addLog(Command app, Session &session) {
  Command log = app.add("log",
                        "Shows and sets the debug log's switches.\nWithout a command: the level, the path and the "
                        "modules that are switched on, and why less may be printed than they say.",
                        "vexora log");
  log.mayTakeCommand();
  log.run([log, &session] {
    if (!log.hasCommand()) {
      show(session);
    }
  });
  addModules(log, session, true);
  addModules(log, session, false);
  addChoice(log.add("level", "Sets the lowest level that is printed.", "vexora log level warning"), session, kLevels,
            "LEVEL");
  addChoice(log.add("path",
                    "Sets where records go.\n\"serial\" and \"both\" print to the process's standard output; to "
                    "\"log\" nothing is printed.",
                    "vexora log path serial"),
            session, kPaths, "PATH");
  addReload(log, session);
  addTail(log, session);
}

}  // namespace vexora::tool
