// The commands of zel-frames. A new one is a file with its add_NAME() and a row in kCommands (commands.cc); help,
// manual page and completions follow from its options.
#ifndef ZEL_FRAMES_COMMANDS_COMMAND_H
#define ZEL_FRAMES_COMMANDS_COMMAND_H

#include <functional>
#include <span>
#include <string>

#include "frames/commands/options.h"

namespace frames {

enum ExitStatus : int {
  kExitGood = 0,      ///< done, and good
  kExitFailed = 1,    ///< the capture does not hold what `check` was to check
  kExitUnusable = 2,  ///< input or command line that cannot be used; Unusable
};

/// Runs the command with the options that were parsed into it; returns the exit status.
using Run = std::function<int()>;

struct Command {
  const char *name;
  const char *purpose;           ///< one line
  Run (*add)(Options &options);  ///< adds the command's options
  const char *job;               ///< what somebody wants who types the example; one line
  const char *example;           ///< the arguments behind the command's name, or the whole line
};

Run add_list(Options &options);
Run add_stats(Options &options);
Run add_check(Options &options);
Run add_compare(Options &options);
Run add_watch(Options &options);
Run add_repair(Options &options);
Run add_cut(Options &options);
Run add_frame(Options &options);
Run add_mux(Options &options);
Run add_report(Options &options);

/// All commands, in the order of the help.
std::span<const Command> commands();

/// What follows the lists in `zel-frames --help`, and in the help of one command.
std::string help_footer();
std::string help_footer(const Command &command);

/// Parses the command line; returns what runs the command that it names. Help and version are printed at once, and what
/// is returned then exits. Throws Unusable.
Run parse_command_line(int argc, char **argv);

}  // namespace frames

#endif
