// SPDX-License-Identifier: Apache-2.0
//
// The manual page and the shell's completion, made from the commands' own help texts, so that they never differ.
#pragma once

#include <CLI/CLI.hpp>

namespace vexora::tool {

/// Lays help texts out for the terminal: lists of commands show each one's first sentence, texts are wrapped. To be
/// called before commands are added.
void layHelpOut(CLI::App &app);

/// Adds "help man" (a manual page in roff) and "help completion" (a script for bash).
void addHelp(CLI::App &app);

}  // namespace vexora::tool
