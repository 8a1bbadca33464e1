// The table of commands, and the options that several of them share.
#include <array>
#include <charconv>
#include <system_error>

#include "frames/commands/command.h"
#include "frames/commands/help.h"
#include "zel-version.h"

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
            "Watch a run; stdbuf lets each line through at once", "stdbuf -oL zel-client ... | zel-frames watch"},
};

constexpr std::array kFormats = {formats::Codec::kH264, formats::Codec::kH265, formats::Codec::kJpeg,
                                 formats::Codec::kAv1,  formats::Codec::kNv12, formats::Codec::kI420,
                                 formats::Codec::kGray, formats::Codec::kRgb};

/// Parses a whole number that begins `text` and drops it from there. False without one.
template <typename Number>
bool take_number(std::string_view &text, Number &number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

constexpr std::string_view kCaptures = R"(CAPTURE is one of
  cap.h264              a raw stream; cap.h264.meta beside it brings the times
  'part%03d.h264'       a split one: the pattern given to --output, in quotes
  cap.h264.meta         a sidecar alone
  cap.mkv               a file of --mkv, or any other file with one video track
  run.txt, -            what a run printed, in a file or on standard input
)";

constexpr std::string_view kStatuses = R"(Exit status:
  0                     done, and good
  1                     check found something that fails
  2                     the capture or the command line cannot be used

zel-frames COMMAND --help shows the options of a command.
)";

/// Names of codecs, as help and messages list them.
std::string codec_names(std::string_view separator) {
  std::string names;
  for (const formats::Codec codec : kFormats)
    names.append(names.empty() ? "" : separator).append(formats::codec_name(codec));
  return names;
}

std::string example_line(const Command &command) {
  const std::string_view example = command.example;
  if (example.find("zel-frames") != std::string_view::npos) return std::string(example) + "\n";
  return std::string("zel-frames ") + command.name + " " + command.example + "\n";
}

std::string footer_of_all() {
  std::string footer = std::string(kCaptures) + "\nExamples:\n";
  for (const Command &command : kCommands)
    footer.append("  ").append(command.job).append("\n    ").append(example_line(command));
  return footer + "\n" + std::string(kStatuses);
}

void parse_size(std::string_view text, CaptureOptions &options) {
  constexpr std::uint32_t kLargest = 65535;
  const std::string whole(text);
  const bool good = take_number(text, options.width) && text.starts_with('x') && (text.remove_prefix(1), true) &&
                    take_number(text, options.height) && text.empty() && options.width > 0 && options.height > 0 &&
                    options.width <= kLargest && options.height <= kLargest;
  if (!good) throw CLI::ValidationError("--size", whole + " is no size such as 1920x1080");
}

Rate parse_rate(const std::string &option, std::string_view text) {
  constexpr std::int64_t kMost = 1'000'000;
  const std::string whole(text);
  Rate rate;
  bool good = take_number(text, rate.numerator);
  if (good && text.starts_with('/')) {
    text.remove_prefix(1);
    good = take_number(text, rate.denominator);
  } else if (good && text.starts_with('.')) {
    text.remove_prefix(1);
    for (; !text.empty() && text.front() >= '0' && text.front() <= '9' && rate.denominator < kMost;
         text.remove_prefix(1)) {
      rate.numerator = rate.numerator * 10 + (text.front() - '0');
      rate.denominator *= 10;
    }
  }
  if (!good || !text.empty() || rate.numerator <= 0 || rate.denominator <= 0 || rate.denominator > kMost ||
      rate.numerator > kMost * rate.denominator) {
    throw CLI::ValidationError(option, whole + " is no rate such as 25, 29.97 or 30000/1001");
  }
  return rate;
}

}  // namespace

std::span<const Command> commands() {
  return kCommands;
}

std::unique_ptr<CLI::App> make_app(Run &run) {
  auto app = std::make_unique<CLI::App>("Lists, measures, checks, repairs, cuts and converts what zel-client captured.",
                                        "zel-frames");
  app->formatter(std::make_shared<HelpFormatter>());
  app->set_help_flag("-h,--help", "Print this help");
  app->set_version_flag("--version", "zel-frames " ZEL_VERSION, "Print the version");
  app->footer(footer_of_all());
  app->require_subcommand(1);
  for (const Command &command : kCommands) {
    CLI::App *parser = app->add_subcommand(command.name, command.purpose);
    parser->footer(std::string(command.job) + ":\n  " + example_line(command));
    parser->callback([&run, chosen = command.add(*parser)] { run = chosen; });
  }
  return app;
}

void add_capture_options(CLI::App &app, CaptureOptions &options) {
  constexpr const char *kGroup = "How to read CAPTURE";
  app.add_option("CAPTURE", options.capture, "What to read; zel-frames --help lists what it may be")->required();
  app.add_option("--meta", options.meta, "The sidecar, if it is not CAPTURE.meta")->type_name("FILE")->group(kGroup);
  app.add_option("--log", options.log, "Join a run's console text, frame by frame")->type_name("FILE")->group(kGroup);
  app.add_option_function<std::string>(
         "--format",
         [&options](const std::string &name) {
           options.format = formats::codec_named(name);
           if (!options.format) throw CLI::ValidationError("--format", name + " is none of " + codec_names(", "));
         },
         "What the raw stream is, if its bytes do not say it")
      ->type_name(codec_names("|"))
      ->group(kGroup);
  app.add_option_function<std::string>(
         "--size", [&options](const std::string &text) { parse_size(text, options); }, "Size of uncompressed pictures")
      ->type_name("WxH")
      ->group(kGroup);
  add_rate_option(app, "--fps", options.fps, "Frames a second of a raw stream without times")->group(kGroup);
}

CLI::Option *add_rate_option(CLI::App &app, const std::string &name, std::optional<Rate> &rate,
                             const std::string &what) {
  const auto parse = [name, &rate](const std::string &text) { rate = parse_rate(name, text); };
  return app.add_option_function<std::string>(name, parse, what)->type_name("F");
}

void add_position_option(CLI::App &app, const std::string &name, std::optional<Position> &position,
                         const std::string &what) {
  const auto parse = [name, &position](const std::string &text) {
    position = parse_position(text);
    if (!position) throw CLI::ValidationError(name, text + " is neither a frame's number nor a time such as 12.5s");
  };
  app.add_option_function<std::string>(name, parse, what)->type_name("F");
}

void add_json_option(CLI::App &app, bool &json) {
  app.add_flag("--json", json, "Print JSON");
}

void add_output_options(CLI::App &app, OutputOptions &options, const std::string &what) {
  app.add_option("-o,--output", options.path, what)->type_name("FILE")->required();
  app.add_flag("--force", options.force, "Write over an existing file");
}

}  // namespace frames
