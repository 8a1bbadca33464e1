// How help is laid out.
#ifndef ZEL_FRAMES_COMMANDS_HELP_H
#define ZEL_FRAMES_COMMANDS_HELP_H

#include <CLI/CLI.hpp>
#include <string>

namespace frames {

/// Lays help out for a terminal of 80 columns: usage, purpose, commands, then options group by group, then the footer
/// as it is.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_help(const CLI::App *app, std::string name, CLI::AppFormatMode mode) const override;
};

/// The option as it is typed: "-o, --output FILE", "CAPTURE".
std::string option_synopsis(const CLI::Option &option);

/// What follows the program's name and the command's: options that must be given, "[OPTIONS]", operands.
std::string arguments_synopsis(const CLI::App &app);

}  // namespace frames

#endif
