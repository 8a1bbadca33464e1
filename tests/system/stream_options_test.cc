// Every stream option on the real command line: name, short name, kind, help and order.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "harness/client_run.h"

using nlohmann::json;

namespace {

enum class Kind { kBoolean, kUnsigned, kDouble, kString, kEnum, kTriple };

struct Row {
  std::string key;
  std::string short_name;
  Kind kind;
  std::string help;  ///< empty for enums: theirs is made from the library's nicks
};

constexpr Kind kB = Kind::kBoolean;
constexpr Kind kU = Kind::kUnsigned;
constexpr Kind kD = Kind::kDouble;
constexpr Kind kS = Kind::kString;
constexpr Kind kE = Kind::kEnum;
constexpr Kind kT = Kind::kTriple;

// clang-format off
const std::vector<Row> kRows = {
    {"format", "t", kE, ""},
    {"h264.profile", "p", kE, ""},
    {"h265.profile", "P", kE, ""},
    {"rc.mode", "r", kE, ""},
    {"rc.prio", "R", kE, ""},
    {"timestamp.type", "u", kE, ""},
    {"buffer.access", "A", kE, ""},
    {"buffer.strategy", "S", kE, ""},
    {"input", "i", kU, "Physical input"},
    {"channel", "", kU, "Video channel"},
    {"bitrate", "b", kU, "Video bitrate (bps)"},
    {"framerate", "f", kD, "Video framerate"},
    {"dynamic", "d", kB, "Enable all dynamic properties"},
    {"dynamic.gop", "", kB, "Enable dynamic gop"},
    {"dynamic.force", "", kB, "Allow dynamic.gop and lumo.gop_mode"},
    {"dynamic.bitrate", "", kB, "Enable dynamic bitrate"},
    {"dynamic.framerate", "", kB, "Enable dynamic framerate"},
    {"dynamic.lumostream", "", kB, "Enable dynamic lumostream"},
    {"dynamic.compression", "", kB, "Enable dynamic compression"},
    {"compression", "c", kU, "Video compression"},
    {"rotation", "z", kU, "Video Rotation"},
    {"horizontal_flip", "m", kB, "Video Mirroring, horizontal_flip"},
    {"mirror", "", kB, "Video Mirroring"},
    {"subformat", "T", kS, "Subformat of video format"},
    {"simd.align", "", kU, "SIMD alignment for uncompressed formats"},
    {"gop_length", "g", kU, "Video gop length"},
    {"monochrome", "", kB, "Monochrome"},
    {"buffer.count", "", kU, "Buffer Count"},
    {"buffer.device", "", kU, "Buffer Device"},
    {"overlays", "O", kS, "Overlays (off text image application all sync)"},
    {"sign", "", kB, "Signed Video"},
    {"privacy", "", kB, "Privacy Masks"},
    {"meta.provider", "", kS, "Meta provider"},
    {"frame.chunks", "", kB, "Sparse chunk support"},
    {"buffer_us", "", kU, "Buffer microseconds until play"},
    {"ir.palette", "", kS, "The palette color"},
    {"interactive", "", kB, "Interactive mode"},
    {"sync.stream_id", "", kU, "Id of the other stream to sync with"},
    {"sync.strategy", "M", kS, "Sync strategy: match or interleave"},
    {"pipeline", "", kS, "Special stream handling"},
    {"snapshot", "", kB, "Snapshot (Typically JPEG)"},
    {"square", "", kU, "Used for AR 1:1 for non encoded streams"},
    {"layers", "", kB, "Layered streams (Removable Overlays)"},
    {"yuv.input.width", "", kU, "YUV Input Width"},
    {"yuv.input.height", "", kU, "YUV Input Height"},
    {"qp.i", "", kU, "manual override of qi"},
    {"qp.p", "", kU, "manual override of qp"},
    {"qp.b", "", kU, "manual override of qb"},
    {"h265.qmap.category", "", kU, "Set category for the whole image"},
    {"lumo.strength", "", kU, "Lumostream strength"},
    {"lumo.max_gop_length", "", kU, "Lumostream max gop length"},
    {"lumo.gop_mode", "", kU, "Lumostream gop mode (0 - fixed, 1 - dynamic)"},
    {"lumo.fps_mode", "", kU, "Lumostream fps mode (0 - fixed, 1 - dynamic)"},
    {"lumo.skip_mode", "", kU, "Lumostream skip mode (0 - drop, 1 - empty)"},
    {"lumo.min_fps_num", "", kU, "Lumostream minimum framerate - numerator"},
    {"lumo.min_fps_den", "", kU, "Lumostream minimum framerate - denominator"},
    {"lumo.profile", "", kE, ""},
    {"lumo.gdr", "", kE, ""},
    {"debug.lumo.sync_type", "", kU, "Lumostream sync type (0-No sync, 1-Frame sync)"},
    {"debug.lumo.intra_refresh", "", kU, "Lumostream intra mb refresh, 0 = off"},
    {"segment.duration", "", kT, "Segment duration triple '--segment.duration=min,target,max' (0 = no limit)"},
    {"segment.bytes", "", kT, "Segment size triple '--segment.bytes=min,target,max' (0 = no limit)"},
    {"abr.target_bitrate", "", kU, "Target Bitrate for ABR (bps)"},
    {"abr.retention_time", "", kU, "Retention time in seconds"},
    {"crop.width", "W", kU, "Crop width"},
    {"crop.height", "H", kU, "Crop height"},
    {"crop.x", "X", kU, "Crop x offset"},
    {"crop.y", "Y", kU, "Crop y offset"},
    {"SAR", "", kS, "Used by encoders for JPEG (square)"},
    {"image.fit", "", kS, "Keep AR by clipping or shrinking (crop scale)"},
};

const std::vector<Row> kClientRows = {
    {"frames", "n", kU, "Number of frames to capture"},
    {"duration", "", kU, "Maximum number of seconds to capture"},
    {"segments", "", kU, "Number of segments to capture"},
    {"delay_us", "", kU, "Sleep between every frame"},
    {"mkv", "", kS, "Write MKV"},
    {"output", "o", kS, "Output filename"},
    {"split_ngop", "G", kU, "Split by nbr of whole gops, '%%d' in output required"},
    {"split_nframes", "N", kU, "Split by nbr of frames, '%%d' in output required"},
    {"last", "", kB, "Save last frame only"},
    {"sync-input", "", kB, "Skip frames until first input frame (for raw-nv12 loop)"},
    {"meta", "m", kB, "Save metadata in a separate file"},
    {"quiet", "q", kB, "Disable per-frame-prints"},
    {"stats", "s", kB, "Generate statistics"},
    {"extra_info", "x", kB, "Print frame extra info"},
    {"zel_debug", "D", kB, "Print debug info"},
};
// clang-format on

/// One line of the help's option list: the name part and the description.
struct HelpLine {
  std::string name;
  std::string description;
};

std::vector<HelpLine> application_options(const std::string &help) {
  const std::string heading = "\nApplication Options:\n";
  const std::size_t start = help.find(heading);
  EXPECT_NE(start, std::string::npos) << help;
  if (start == std::string::npos) {
    return {};
  }
  std::istringstream lines(help.substr(start + heading.size()));
  std::vector<HelpLine> found;
  for (std::string line; std::getline(lines, line) && !line.empty();) {
    const std::size_t name = line.find_first_not_of(' ');
    const std::size_t gap = line.find("  ", name);
    const std::size_t text = line.find_first_not_of(' ', gap);
    found.push_back({line.substr(name, gap - name), text == std::string::npos ? "" : line.substr(text)});
  }
  return found;
}

/// "-b, --bitrate", or "--bitrate" without a short name. The option library shows a short name that is taken already,
/// by "meta", to its first owner only.
std::string listed_name(const Row &row) {
  const bool is_taken = row.key == "horizontal_flip";
  return (row.short_name.empty() || is_taken ? "" : "-" + row.short_name + ", ") + "--" + row.key;
}

/// Arguments that give one option a value, and what the settings map must then hold.
struct Given {
  std::string text;
  json value;
};

Given given_for(Kind kind) {
  switch (kind) {
    case Kind::kBoolean:
      return {"1", true};
    case Kind::kUnsigned:
      return {"32", 32};
    case Kind::kDouble:
      return {"12.5", 12.5};
    case Kind::kString:
      return {"text", "text"};
    case Kind::kTriple:
      return {"4,5,6", {4, 5, 6, 0}};
    case Kind::kEnum:
      break;
  }
  return {};
}

std::map<std::string, json> settings_of(const std::vector<std::string> &arguments) {
  ClientRun run;
  run.camera().fault({.call = "zel_stream_new", .message = "asked"});
  const RunResult result = run.run(arguments);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: asked\n") << testing::PrintToString(arguments);
  return run.truth().requested_settings();
}

/// Those whose value changes the run before the stream is asked for.
bool changes_the_run(const std::string &key) {
  return key == "interactive" || key == "buffer_us";
}

}  // namespace

// Catches an option missing from the help, out of order, or with another text or short name.
TEST(StreamOptions, HelpListsClientThenStreamOptionsInOrder) {
  ClientRun run;
  const RunResult result = run.run({"--help"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  const std::vector<HelpLine> lines = application_options(result.out);
  std::vector<Row> rows = kClientRows;
  rows.insert(rows.end(), kRows.begin(), kRows.end());
  ASSERT_EQ(rows.size(), 85U);
  ASSERT_EQ(lines.size(), rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(lines[i].name, listed_name(rows[i]));
    if (rows[i].kind == Kind::kEnum) {
      EXPECT_THAT(lines[i].description, testing::MatchesRegex("[A-Za-z0-9_]+\\([^,() ]+(, [^,() ]+)*\\)"));
    } else {
      EXPECT_EQ(lines[i].description, rows[i].help);
    }
  }
}

// Catches enum lists in the help that are not those that the parser accepts.
TEST(StreamOptions, HelpShowsTheNicksThatAreAccepted) {
  ClientRun help_run;
  const std::vector<HelpLine> lines = application_options(help_run.run({"--help"}).out);
  for (std::size_t i = 0; i < kRows.size(); ++i) {
    if (kRows[i].kind != Kind::kEnum) {
      continue;
    }
    const HelpLine &line = lines.at(kClientRows.size() + i);
    ClientRun run;
    const RunResult result = run.run({"--" + kRows[i].key + "=no-such-nick"});
    EXPECT_EQ(result.status, 1);
    const std::string type = line.description.substr(0, line.description.find('('));
    EXPECT_EQ(result.err,
              line.description + "\nzel-client: Failed to parse " + type + ": --" + kRows[i].key + " no-such-nick\n");
  }
}

// Catches an option whose value goes to another key or is stored as another type.
TEST(StreamOptions, EveryLongOptionStoresUnderItsKey) {
  std::vector<std::string> together;
  for (const Row &row : kRows) {
    if (row.kind == Kind::kEnum || changes_the_run(row.key) || row.key.starts_with("crop.") || row.key == "dynamic") {
      continue;
    }
    together.push_back("--" + row.key + "=" + given_for(row.kind).text);
  }
  const std::map<std::string, json> settings = settings_of(together);
  for (const Row &row : kRows) {
    if (row.kind == Kind::kEnum || changes_the_run(row.key) || row.key.starts_with("crop.") || row.key == "dynamic") {
      continue;
    }
    ASSERT_TRUE(settings.contains(row.key)) << row.key;
    EXPECT_EQ(settings.at(row.key), given_for(row.kind).value) << row.key;
  }
  EXPECT_EQ(settings_of({"--crop.width=7"}).at("crop.width"), 7);
  EXPECT_EQ(settings_of({"--crop.height=7"}).at("crop.height"), 7);
  EXPECT_EQ(settings_of({"--crop.x=7"}).at("crop.x"), 7);
  EXPECT_EQ(settings_of({"--crop.y=7"}).at("crop.y"), 7);
  EXPECT_EQ(settings_of({"--interactive=0"}).at("interactive"), false);
  EXPECT_EQ(settings_of({"--buffer_us=0"}).at("buffer_us"), 0);
}

// Catches a short name that stands for another option than its row says.
TEST(StreamOptions, EveryShortOptionStoresUnderItsKey) {
  for (const Row &row : kRows) {
    if (row.short_name.empty() || row.kind == Kind::kEnum || row.key == "horizontal_flip") {
      continue;
    }
    const Given given = given_for(row.kind);
    EXPECT_EQ(settings_of({"-" + row.short_name, given.text}).at(row.key), given.value) << row.key;
  }
}

// Catches enum options, long or short, whose first nick does not store its number.
TEST(StreamOptions, EveryEnumOptionTakesItsNicks) {
  ClientRun help_run;
  const std::vector<HelpLine> lines = application_options(help_run.run({"--help"}).out);
  for (std::size_t i = 0; i < kRows.size(); ++i) {
    if (kRows[i].kind != Kind::kEnum) {
      continue;
    }
    const std::string &description = lines.at(kClientRows.size() + i).description;
    const std::size_t open = description.find('(');
    const std::string nick = description.substr(open + 1, description.find_first_of(",)", open) - open - 1);
    EXPECT_TRUE(settings_of({"--" + kRows[i].key + "=" + nick}).at(kRows[i].key).is_number()) << kRows[i].key;
    if (!kRows[i].short_name.empty()) {
      EXPECT_TRUE(settings_of({"-" + kRows[i].short_name, nick}).contains(kRows[i].key)) << kRows[i].key;
    }
  }
}

// Catches the collision of "-m" resolved the other way, or "horizontal_flip" out of reach.
TEST(StreamOptions, ShortMStandsForMeta) {
  EXPECT_FALSE(settings_of({"-m"}).contains("horizontal_flip"));
  EXPECT_EQ(settings_of({"--horizontal_flip=1"}).at("horizontal_flip"), true);
  // As a flag, "-m" takes no value: the word behind it is a positional one.
  ClientRun run;
  const RunResult result = run.run({"-m", "1"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, testing::StartsWith("zel-client: Usage:"));
}

// Catches options for settings that only the client itself writes.
TEST(StreamOptions, HasNoOptionForDerivedSettings) {
  for (const char *key : {"resolution", "framerate.auto", "dynamic.resolution", "crop", "socket.blocking", "intent"}) {
    ClientRun run;
    const RunResult result = run.run({std::string("--") + key + "=1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, std::string("zel-client: Unknown option --") + key + "=1\n");
    EXPECT_EQ(result.out, "");
  }
}

// Catches help switches of the options' groups that the program does not take. Every group has one by a unit test.
TEST(StreamOptions, AGroupHasItsHelpSwitch) {
  for (const std::size_t row : {std::size_t{0}, kRows.size() - 1}) {
    ClientRun run;
    const RunResult result = run.run({"--help-" + kRows[row].key});
    EXPECT_EQ(result.status, 0) << kRows[row].key;
    EXPECT_EQ(result.err, "") << kRows[row].key;
    EXPECT_THAT(result.out, testing::StartsWith("Usage:\n")) << kRows[row].key;
  }
}

// Catches short and long names of one setting that store different things.
TEST(StreamOptions, ShortAndLongGopLengthAreTheSame) {
  const json value = settings_of({"--gop_length=32"}).at("gop_length");
  EXPECT_EQ(value, 32);
  EXPECT_EQ(settings_of({"-g", "32"}).at("gop_length"), value);
}
