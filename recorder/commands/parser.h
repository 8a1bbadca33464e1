// zel-record's command line as CLI11 has it, for parsing and for the documents.
#ifndef ZEL_RECORDER_COMMANDS_PARSER_H
#define ZEL_RECORDER_COMMANDS_PARSER_H

#include <CLI/CLI.hpp>
#include <memory>

#include "recorder/commands/command.h"

namespace recorder {

/// The whole command line: the commands, and the options with which zel-record starts a program, which are not parsed
/// here. A command that is parsed puts what runs it into `run`.
std::unique_ptr<CLI::App> make_app(Run &run);

}  // namespace recorder

#endif
