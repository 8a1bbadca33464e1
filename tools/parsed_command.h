// Commands that CLI11 parses, as the documents have them.
#ifndef ZEL_CLIENT_TOOLS_PARSED_COMMAND_H
#define ZEL_CLIENT_TOOLS_PARSED_COMMAND_H

#include <CLI/CLI.hpp>
#include <string>

#include "program.h"

/// The command with its options and operands; `name` is empty for the program itself.
Command command_of(const CLI::App &app, std::string name);

#endif
