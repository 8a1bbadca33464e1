// The command line, parsed by CLI11.
#ifndef ZEL_FRAMES_COMMANDS_PARSER_H
#define ZEL_FRAMES_COMMANDS_PARSER_H

#include <CLI/CLI.hpp>
#include <memory>

#include "frames/commands/command.h"

namespace frames {

/// The parser of the whole program. Parsing chooses a command; `run` then runs it.
std::unique_ptr<CLI::App> make_app(Run &run);

}  // namespace frames

#endif
