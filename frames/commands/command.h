// The commands of zel-frames. A new one is a file with its add_NAME() and a row in kCommands (commands.cc); help,
// manual page and completions follow from its options.
#ifndef ZEL_FRAMES_COMMANDS_COMMAND_H
#define ZEL_FRAMES_COMMANDS_COMMAND_H

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "frames/common/position.h"
#include "frames/sources/source.h"

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
  const char *purpose;        ///< one line
  Run (*add)(CLI::App &app);  ///< adds the command's options to its own parser
  const char *job;            ///< what somebody wants who types the example; one line
  const char *example;        ///< the arguments behind the command's name, or the whole line
};

Run add_list(CLI::App &app);
Run add_stats(CLI::App &app);
Run add_check(CLI::App &app);
Run add_compare(CLI::App &app);
Run add_watch(CLI::App &app);
Run add_repair(CLI::App &app);
Run add_cut(CLI::App &app);
Run add_frame(CLI::App &app);
Run add_mux(CLI::App &app);
Run add_report(CLI::App &app);

/// All commands, in the order of the help.
std::span<const Command> commands();

/// The parser of the whole program. Parsing chooses a command; `run` then runs it.
std::unique_ptr<CLI::App> make_app(Run &run);

/// Adds what every command takes: CAPTURE and the options that say how to read it.
void add_capture_options(CLI::App &app, CaptureOptions &options);

/// Adds an option that takes a frame's number or a time.
void add_position_option(CLI::App &app, const std::string &name, std::optional<Position> &position,
                         const std::string &what);

/// Adds an option that takes a rate: "25", "29.97" or "30000/1001".
CLI::Option *add_rate_option(CLI::App &app, const std::string &name, std::optional<Rate> &rate,
                             const std::string &what);

/// Adds --json.
void add_json_option(CLI::App &app, bool &json);

/// Adds -o and --force of the commands that write a file.
struct OutputOptions {
  std::string path;
  bool force = false;
};
void add_output_options(CLI::App &app, OutputOptions &options, const std::string &what);

}  // namespace frames

#endif
