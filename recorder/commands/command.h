// The commands of zel-record that look at a recording.
#ifndef ZEL_RECORDER_COMMANDS_COMMAND_H
#define ZEL_RECORDER_COMMANDS_COMMAND_H

#include <functional>

#include "frames/commands/options.h"

namespace recorder {

/// Runs the command with the options that were parsed into it; returns the exit status. Throws frames::Unusable and
/// formats::RecordingFault.
using Run = std::function<int()>;

Run add_show(frames::Options &options);
Run add_frames(frames::Options &options);

/// Parses the command line; returns what runs the command that it names. Throws frames::Unusable.
Run parse_command_line(int argc, char **argv);

}  // namespace recorder

#endif
