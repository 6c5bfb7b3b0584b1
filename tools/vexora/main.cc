// SPDX-License-Identifier: Apache-2.0
//
// vexora: looks into what the library leaves behind on a board, on the board itself or in a file system extracted from
// one.

#include <cstdio>
#include <exception>

#include "command.h"
#include "help.h"
#include "root.h"

namespace {

using vexora::tool::Failure;
using vexora::tool::Session;

constexpr const char *kDescription =
    "Looks into what the board's daemons leave behind: logs, history, settings, FRU and firmware images.";

constexpr const char *kOutcomes =
    "Exit status: 0 fine; 1 a finding, such as damage or a refused value; 2 wrong usage; 3 something could not be read "
    "or written.";

void addCommands(CLI::App &app, Session &session) {
  vexora::tool::layHelpOut(app);
  app.add_flag("--json", session.json, "Answer with one JSON document");
  app.add_option("--root", session.root, "Look into an extracted file system instead of \"/\"")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory.description(""));
  app.require_subcommand(1);
  app.fallthrough();
  app.footer(kOutcomes);
  for (const auto add :
       {vexora::tool::addLog, vexora::tool::addHistory, vexora::tool::addFru, vexora::tool::addUefi,
        vexora::tool::addConfig, vexora::tool::addSubscriptions, vexora::tool::addEvent, vexora::tool::addAdvice,
        vexora::tool::addCheck, vexora::tool::addSend, vexora::tool::addFile, vexora::tool::addSignature}) {
    add(vexora::tool::Command(&app), session);
  }
  vexora::tool::addHelp(app);
}

int run(int argc, char **argv) {
  CLI::App app(kDescription, "vexora");
  Session session;
  addCommands(app, session);
  // Between the parsing and the commands' callbacks: the library's fixed paths lead into the root from here on.
  app.parse_complete_callback([&session] { session.root = vexora::tool::enterRoot(session.root); });
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? vexora::tool::kFine : vexora::tool::kUsage;
  } catch (const Failure &failure) {
    std::fflush(stdout);
    std::fprintf(stderr, "vexora: %s\n", failure.what());
    return failure.outcome();
  }
  if (std::fflush(stdout) != 0) {
    return vexora::tool::kInaccessible;
  }
  return session.outcome == vexora::tool::kFinding ? session.findingStatus : session.outcome;
}

}  // namespace

int main(int argc, char **argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "vexora: %s\n", error.what());
    return vexora::tool::kInaccessible;
  }
}
