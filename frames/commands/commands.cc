// The table of commands, and what help says around it.
#include <array>
#include <string_view>

#include "frames/commands/command.h"

namespace frames {
namespace {

constexpr std::array kCommands = {
    Command{"list", "Print a row for every frame: type, time, place, size", add_list,
            "Every frame as a table for a spreadsheet", "--csv cap.h264"},
    Command{"stats", "Measure: lost frames, distances, latencies, sizes", add_stats,
            "Which frames were lost, and how even are the times?", "cap.h264"},
    Command{"check", "Fail unless it is whole and within the limits", add_check,
            "Is it whole, and at most 3 frames lost? (for scripts)", "--max-missing 3 cap.h264"},
    Command{"repair", "Keep what is whole after a kill or a full disk", add_repair,
            "The camera lost power: keep every whole frame", "-o good.h264 cap.h264"},
    Command{"cut", "Copy some of the frames, from one to another", add_cut, "Ten seconds of a long recording",
            "--from 60s --to 70s -o part.h264 cap.h264"},
    Command{"frame", "Store one frame's picture or bytes", add_frame, "One frame as a picture",
            "120 cap.h264 -o frame.png"},
    Command{"mux", "Make a playable file with the capture's own times", add_mux,
            "A file that plays, every frame at its own time", "-o cap.mp4 cap.h264"},
    Command{"compare", "Hold two runs against each other, chance told apart", add_compare, "Did the latency get worse?",
            "before.txt after.txt"},
    Command{"report", "Show a run, or two on each other, on a page for a browser", add_report,
            "A page to attach to a bug", "-o report.html cap.h264"},
    Command{"watch", "Show a run's figures while it goes on", add_watch,
            "Watch a run; without stdbuf its lines come some forty at a time",
            "stdbuf -oL zel-client ... | zel-frames watch"},
};

constexpr std::string_view kCaptures = R"(CAPTURE is one of
  cap.h264              a raw stream; cap.h264.meta beside it brings the times
  'part%03d.h264'       a split one: the pattern given to --output, in quotes
  cap.h264.meta         a sidecar alone
  cap.mkv               a file of --mkv, or any other file with one video track
  run.txt, -            what a run printed, in a file or on standard input
)";

constexpr std::string_view kStatuses = R"(Exit status:
  0                     done, and good
  1                     check found something that fails, compare what is worse
  2                     the capture or the command line cannot be used

zel-frames COMMAND --help shows the options of a command.
)";

std::string example_line(const Command &command) {
  const std::string_view example = command.example;
  if (example.find("zel-frames") != std::string_view::npos) return std::string(example) + "\n";
  return std::string("zel-frames ") + command.name + " " + command.example + "\n";
}

}  // namespace

std::span<const Command> commands() {
  return kCommands;
}

std::string help_footer() {
  std::string footer(kCaptures);
  footer.append("\nExamples:\n");
  for (const Command &command : kCommands)
    footer.append("  ").append(command.job).append("\n    ").append(example_line(command));
  return footer.append("\n").append(kStatuses);
}

std::string help_footer(const Command &command) {
  return std::string(command.job) + ":\n  " + example_line(command);
}

}  // namespace frames
