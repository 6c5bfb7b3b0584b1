// SPDX-License-Identifier: Apache-2.0
//
// vexora: shows, checks and changes the library's files, on a board or in a file system extracted from one.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <iostream>
#include <sstream>

#include "core/help.h"
#include "core/line.h"
#include "core/root.h"
#include "events/commands.h"
#include "files/commands.h"
#include "fru/commands.h"
#include "history/commands.h"
#include "log/commands.h"
#include "messages/commands.h"
#include "report/commands.h"
#include "settings/commands.h"

using namespace vexora::tool;

namespace {

// Version of the documents' members. A higher version only adds members.
constexpr int kDocumentVersion = 1;

constexpr const char *kDescription =
    "Looks into what the board's daemons leave behind: logs, history, settings, FRU and firmware images.";

constexpr const char *kOutcomes =
    "Exit status: 0 fine; 1 a finding, such as damage or a refused value; 2 wrong usage; 3 something could not be read "
    "or written.";

void addCommands(CLI::App &app, Session &session) {
  layHelpOut(app);
  app.add_flag("--json", session.json, "Answer with one JSON document");
  app.add_option("--root", session.root, "Look into an extracted file system instead of \"/\"")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory.description(""));
  app.set_version_flag("--version", "vexora " VEXORA_VERSION, "Show the version");
  app.require_subcommand(1);
  app.fallthrough();
  app.footer(kOutcomes);
  for (const auto add : {addLog, addHistory, addFru, addUefi, addFile, addSignature, addConfig, addCheck,
                         addSubscriptions, addEvent, addAdvice, addSend, addWatch, addReport, addCrash}) {
    add(Command(&app), session);
  }
  addHelp(app, session);
}

/// Executes the command line. Returns the error, "" if there is none.
std::string work(CLI::App &app, Session &session, int argc, char **argv) {
  try {
    app.parse(argc, argv);
    return "";
  } catch (const CLI::ParseError &error) {
    std::ostringstream text;
    if (app.exit(error, text, text) != 0) {
      session.found(kUsage);
      return complaintOf(app, error);
    }
    session.answer(object({{"text", text.str()}}));
    std::cout << (session.json ? "" : text.str());
    return "";
  } catch (const Failure &failure) {
    session.found(failure.outcome());
    return failure.what();
  } catch (const std::ios_base::failure &) {
    throw;
  } catch (const std::exception &error) {
    session.found(kInaccessible);
    return error.what();
  }
}

int run(int argc, char **argv) {
  CLI::App app(kDescription, "vexora");
  Session session;
  // Before the parser runs: a line that can't be parsed is answered by a document too.
  char **const end = std::find(argv, argv + argc, std::string_view("--"));
  session.json = std::find(argv, end, std::string_view("--json")) != end;
  addCommands(app, session);
  // Runs after the parser and before the commands: from then on the library's fixed paths are redirected into the root.
  app.parse_complete_callback([&session] {
    session.root = enterRoot(session.root);
    if (session.json) {
      reserveStandardOutput();
    }
  });
  const std::string error = work(app, session, argc, argv);
  if (session.json) {
    Json document = object({{"version", kDocumentVersion},
                            {"command", fullName(chosenOf(app))},
                            {"status", static_cast<int>(session.outcome)}});
    if (!error.empty()) {
      document.add("error", error);
    }
    std::cout << document.addAll(session.members).add("findings", session.findings).text();
  }
  std::cout.flush();
  std::cerr << (error.empty() ? "" : "vexora: " + error + "\n");
  return session.outcome;
}

}  // namespace

int main(int argc, char **argv) {
  std::cout.exceptions(std::ios::badbit);
  try {
    return run(argc, argv);
  } catch (const std::exception &) {
    const int reason = errno;
    std::cout.exceptions(std::ios::goodbit);  // std::cerr and the exit flush it, which must not throw again
    std::cerr << "vexora: cannot write standard output: " << std::strerror(reason) << "\n";
    return kInaccessible;
  }
}
