// SPDX-License-Identifier: Apache-2.0
//
// The manual page and the shells' completion, generated from the commands' help texts.
#pragma once

#include <CLI/CLI.hpp>

#include "core/tool.h"

namespace vexora::tool {

/// Formats help texts for the terminal: wraps them, and lists commands with their first sentence only. Must be called
/// before commands are added.
void layHelpOut(CLI::App &app);

/// Adds "help": a command's help, the manual page in roff, and completion scripts for bash, zsh and fish.
void addHelp(CLI::App &app, Session &session);

}  // namespace vexora::tool
