// SPDX-License-Identifier: Apache-2.0
//
// The tree of commands: finds the mistake in a wrong line and completes an unfinished one.
#pragma once

#include <CLI/CLI.hpp>

namespace vexora::tool {

std::vector<const CLI::App *> commandsOf(const CLI::App &app);
std::vector<const CLI::Option *> optionsOf(const CLI::App &app, bool positional);

std::vector<std::string> commandNames(const CLI::App &app);

/// Returns, for instance, "vexora history show".
std::string fullName(const CLI::App &app);

/// Returns the innermost command of the parsed line.
const CLI::App &chosenOf(const CLI::App &app);

/// Returns the command with these names, outermost first. Throws Failure(kUsage) when there is none.
const CLI::App &commandNamed(const CLI::App &app, const std::vector<std::string> &words);

/// Returns why a line was refused: names the wrong word and proposes the nearest correct one.
std::string complaintOf(const CLI::App &app, const CLI::ParseError &error);

/// Returns the name of an option's value, or the words that it may be. CLI11's own text would add "TEXT:".
std::string valueOf(const CLI::Option &option);

/// Returns the commands, options and values that may replace the line's last word. The shell completes file names.
std::vector<std::string> wordsFor(const CLI::App &app, const std::vector<std::string> &line);

}  // namespace vexora::tool
