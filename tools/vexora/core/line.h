// SPDX-License-Identifier: Apache-2.0
//
// The command line as a tree of commands: what a wrong line gets wrong, and how one that was begun may go on.
#pragma once

#include <CLI/CLI.hpp>

namespace vexora::tool {

std::vector<const CLI::App *> commandsOf(const CLI::App &app);
std::vector<const CLI::Option *> optionsOf(const CLI::App &app, bool positional);

std::vector<std::string> commandNames(const CLI::App &app);

/// "vexora history show".
std::string fullName(const CLI::App &app);

/// The innermost command that the line has named.
const CLI::App &chosenOf(const CLI::App &app);

/// The command that words name; throws Failure(kUsage) when there is none.
const CLI::App &commandNamed(const CLI::App &app, const std::vector<std::string> &words);

/// Why a line was refused, by the word that is to blame, with the nearest one that is right.
std::string complaintOf(const CLI::App &app, const CLI::ParseError &error);

/// What an option takes: a name for it or the words that it is one of; CLI11 would add "TEXT:".
std::string valueOf(const CLI::Option &option);

/// What may stand in the last word's place: commands, options and values. File names are the shell's to know.
std::vector<std::string> wordsFor(const CLI::App &app, const std::vector<std::string> &line);

}  // namespace vexora::tool
