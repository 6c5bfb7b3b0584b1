// SPDX-License-Identifier: Apache-2.0
//
// The manual page and the shell's completion, made from the commands' own help texts, so that they never differ.
#pragma once

#include <CLI/CLI.hpp>

#include "core/tool.h"

namespace vexora::tool {

/// Lays help texts out for the terminal: lists of commands show each one's first sentence, texts are wrapped. To be
/// called before commands are added.
void layHelpOut(CLI::App &app);

/// Adds "help": of a command, as manual page in roff, and as scripts that complete lines in bash, zsh and fish.
void addHelp(CLI::App &app, Session &session);

}  // namespace vexora::tool
