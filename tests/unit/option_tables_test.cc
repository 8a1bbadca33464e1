// Both option tables against lists typed here: what a user reads and types must not change by accident.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "fake_zel.h"
#include "settings/client_options.h"
#include "settings/option_builders.h"
#include "settings/stream_options.h"

namespace {

struct StreamRow {
  const char *key;
  char short_name;
  OptionKind kind;
  const char *help;
};

constexpr OptionKind kB = OptionKind::kBoolean;
constexpr OptionKind kU = OptionKind::kUnsigned;
constexpr OptionKind kD = OptionKind::kDouble;
constexpr OptionKind kS = OptionKind::kString;
constexpr OptionKind kE = OptionKind::kEnum;
constexpr OptionKind kT = OptionKind::kTriple;

// clang-format off
const std::vector<StreamRow> kStreamRows = {
    {"format", 't', kE, nullptr},
    {"h264.profile", 'p', kE, nullptr},
    {"h265.profile", 'P', kE, nullptr},
    {"rc.mode", 'r', kE, nullptr},
    {"rc.prio", 'R', kE, nullptr},
    {"timestamp.type", 'u', kE, nullptr},
    {"buffer.access", 'A', kE, nullptr},
    {"buffer.strategy", 'S', kE, nullptr},
    {"input", 'i', kU, "Physical input"},
    {"channel", 0, kU, "Video channel"},
    {"bitrate", 'b', kU, "Video bitrate (bps)"},
    {"framerate", 'f', kD, "Video framerate"},
    {"dynamic", 'd', kB, "Enable all dynamic properties"},
    {"dynamic.gop", 0, kB, "Enable dynamic gop"},
    {"dynamic.force", 0, kB, "Allow dynamic.gop and lumo.gop_mode"},
    {"dynamic.bitrate", 0, kB, "Enable dynamic bitrate"},
    {"dynamic.framerate", 0, kB, "Enable dynamic framerate"},
    {"dynamic.lumostream", 0, kB, "Enable dynamic lumostream"},
    {"dynamic.compression", 0, kB, "Enable dynamic compression"},
    {"compression", 'c', kU, "Video compression"},
    {"rotation", 'z', kU, "Video Rotation"},
    {"horizontal_flip", 'm', kB, "Video Mirroring, horizontal_flip"},
    {"mirror", 0, kB, "Video Mirroring"},
    {"subformat", 'T', kS, "Subformat of video format"},
    {"simd.align", 0, kU, "SIMD alignment for uncompressed formats"},
    {"gop_length", 'g', kU, "Video gop length"},
    {"monochrome", 0, kB, "Monochrome"},
    {"buffer.count", 0, kU, "Buffer Count"},
    {"buffer.device", 0, kU, "Buffer Device"},
    {"overlays", 'O', kS, "Overlays (off text image application all sync)"},
    {"sign", 0, kB, "Signed Video"},
    {"privacy", 0, kB, "Privacy Masks"},
    {"meta.provider", 0, kS, "Meta provider"},
    {"frame.chunks", 0, kB, "Sparse chunk support"},
    {"buffer_us", 0, kU, "Buffer microseconds until play"},
    {"ir.palette", 0, kS, "The palette color"},
    {"interactive", 0, kB, "Interactive mode"},
    {"sync.stream_id", 0, kU, "Id of the other stream to sync with"},
    {"sync.strategy", 'M', kS, "Sync strategy: match or interleave"},
    {"pipeline", 0, kS, "Special stream handling"},
    {"snapshot", 0, kB, "Snapshot (Typically JPEG)"},
    {"square", 0, kU, "Used for AR 1:1 for non encoded streams"},
    {"layers", 0, kB, "Layered streams (Removable Overlays)"},
    {"yuv.input.width", 0, kU, "YUV Input Width"},
    {"yuv.input.height", 0, kU, "YUV Input Height"},
    {"qp.i", 0, kU, "manual override of qi"},
    {"qp.p", 0, kU, "manual override of qp"},
    {"qp.b", 0, kU, "manual override of qb"},
    {"h265.qmap.category", 0, kU, "Set category for the whole image"},
    {"lumo.strength", 0, kU, "Lumostream strength"},
    {"lumo.max_gop_length", 0, kU, "Lumostream max gop length"},
    {"lumo.gop_mode", 0, kU, "Lumostream gop mode (0 - fixed, 1 - dynamic)"},
    {"lumo.fps_mode", 0, kU, "Lumostream fps mode (0 - fixed, 1 - dynamic)"},
    {"lumo.skip_mode", 0, kU, "Lumostream skip mode (0 - drop, 1 - empty)"},
    {"lumo.min_fps_num", 0, kU, "Lumostream minimum framerate - numerator"},
    {"lumo.min_fps_den", 0, kU, "Lumostream minimum framerate - denominator"},
    {"lumo.profile", 0, kE, nullptr},
    {"lumo.gdr", 0, kE, nullptr},
    {"debug.lumo.sync_type", 0, kU, "Lumostream sync type (0-No sync, 1-Frame sync)"},
    {"debug.lumo.intra_refresh", 0, kU, "Lumostream intra mb refresh, 0 = off"},
    {"segment.duration", 0, kT, "Segment duration triple '--segment.duration=min,target,max' (0 = no limit)"},
    {"segment.bytes", 0, kT, "Segment size triple '--segment.bytes=min,target,max' (0 = no limit)"},
    {"abr.target_bitrate", 0, kU, "Target Bitrate for ABR (bps)"},
    {"abr.retention_time", 0, kU, "Retention time in seconds"},
    {"crop.width", 'W', kU, "Crop width"},
    {"crop.height", 'H', kU, "Crop height"},
    {"crop.x", 'X', kU, "Crop x offset"},
    {"crop.y", 'Y', kU, "Crop y offset"},
    {"SAR", 0, kS, "Used by encoders for JPEG (square)"},
    {"image.fit", 0, kS, "Keep AR by clipping or shrinking (crop scale)"},
};

struct ClientRow {
  const char *name;
  char short_name;
  ClientOptionKind kind;
  const char *help;
};

const std::vector<ClientRow> kClientRows = {
    {"frames", 'n', ClientOptionKind::kInteger, "Number of frames to capture"},
    {"duration", 0, ClientOptionKind::kInteger, "Maximum number of seconds to capture"},
    {"segments", 0, ClientOptionKind::kInteger, "Number of segments to capture"},
    {"delay_us", 0, ClientOptionKind::kInteger, "Sleep between every frame"},
    {"mkv", 0, ClientOptionKind::kFileName, "Write MKV"},
    {"output", 'o', ClientOptionKind::kFileName, "Output filename"},
    {"split_ngop", 'G', ClientOptionKind::kInteger, "Split by nbr of whole gops, '%%d' in output required"},
    {"split_nframes", 'N', ClientOptionKind::kInteger, "Split by nbr of frames, '%%d' in output required"},
    {"last", 0, ClientOptionKind::kFlag, "Save last frame only"},
    {"sync-input", 0, ClientOptionKind::kFlag, "Skip frames until first input frame (for raw-nv12 loop)"},
    {"meta", 'm', ClientOptionKind::kFlag, "Save metadata in a separate file"},
    {"quiet", 'q', ClientOptionKind::kFlag, "Disable per-frame-prints"},
    {"stats", 's', ClientOptionKind::kFlag, "Generate statistics"},
    {"extra_info", 'x', ClientOptionKind::kFlag, "Print frame extra info"},
    {"zel_debug", 'D', ClientOptionKind::kFlag, "Print debug info"},
};
// clang-format on

struct ContextFree {
  void operator()(GOptionContext *context) const { g_option_context_free(context); }
};

/// Parses arguments into `client_options` with a context of its own; the error's text, "" when all was taken.
std::string parse_client_options(std::vector<const char *> arguments) {
  const std::unique_ptr<GOptionContext, ContextFree> context(g_option_context_new(nullptr));
  add_client_options(context.get());
  arguments.insert(arguments.begin(), "zel-client");
  arguments.push_back(nullptr);
  int argc = static_cast<int>(arguments.size()) - 1;
  auto **argv = const_cast<char **>(arguments.data());
  GError *error = nullptr;
  g_option_context_parse(context.get(), &argc, &argv, &error);
  std::string text = error != nullptr ? error->message : "";
  g_clear_error(&error);
  return text;
}

/// File names that the option library made, which nobody frees in the program.
void free_file_names() {
  g_free(const_cast<char *>(client_options.mkv));
  if (client_options.output != ClientOptions().output) {
    g_free(const_cast<char *>(client_options.output));
  }
  client_options = ClientOptions();
}

}  // namespace

// Catches a stream option lost, added, moved or changed in any column.
TEST(StreamOptions, AreTheseSeventyInThisOrder) {
  ASSERT_EQ(kStreamOptions.size(), kStreamRows.size());
  for (std::size_t i = 0; i < kStreamRows.size(); ++i) {
    SCOPED_TRACE(kStreamRows[i].key);
    EXPECT_STREQ(kStreamOptions[i].key, kStreamRows[i].key);
    EXPECT_EQ(kStreamOptions[i].short_name, kStreamRows[i].short_name);
    EXPECT_EQ(kStreamOptions[i].kind, kStreamRows[i].kind);
    EXPECT_STREQ(kStreamOptions[i].help, kStreamRows[i].help);
    EXPECT_EQ(kStreamOptions[i].enum_type != nullptr, kStreamRows[i].kind == kE);
  }
}

// Catches enum options that ask the library for another option's enumeration.
TEST(StreamOptions, EnumsNameTheirOwnTypes) {
  const std::vector<std::pair<const char *, GType>> types = {
      {"format", zel_format_get_type()},
      {"h264.profile", zel_h264_profile_get_type()},
      {"h265.profile", zel_h265_profile_get_type()},
      {"rc.mode", zel_rate_control_mode_get_type()},
      {"rc.prio", zel_rate_control_priority_get_type()},
      {"timestamp.type", zel_timestamp_get_type()},
      {"buffer.access", zel_buffer_access_get_type()},
      {"buffer.strategy", zel_buffer_strategy_get_type()},
      {"lumo.profile", zel_lumostream_profile_get_type()},
      {"lumo.gdr", zel_lumostream_gdr_get_type()},
  };
  auto expected = types.begin();
  for (const StreamOption &option : kStreamOptions) {
    if (option.kind != OptionKind::kEnum) {
      continue;
    }
    ASSERT_NE(expected, types.end());
    EXPECT_STREQ(option.key, expected->first);
    EXPECT_EQ(option.enum_type(), expected->second) << option.key;
    ++expected;
  }
  EXPECT_EQ(expected, types.end());
}

// Catches a client option lost, added, moved or changed in any column.
TEST(ClientOptionTable, HasTheseFifteenInThisOrder) {
  ASSERT_EQ(kClientOptions.size(), kClientRows.size());
  for (std::size_t i = 0; i < kClientRows.size(); ++i) {
    SCOPED_TRACE(kClientRows[i].name);
    EXPECT_STREQ(kClientOptions[i].name, kClientRows[i].name);
    EXPECT_EQ(kClientOptions[i].short_name, kClientRows[i].short_name);
    EXPECT_EQ(kClientOptions[i].kind, kClientRows[i].kind);
    EXPECT_STREQ(kClientOptions[i].help, kClientRows[i].help);
  }
}

// Catches a second collision of names; the one of "m" is meant to be.
TEST(OptionTables, ShareNoNameButTheKnownOne) {
  std::set<std::string> long_names;
  std::multiset<char> short_names;
  for (const StreamOption &option : kStreamOptions) {
    EXPECT_TRUE(long_names.insert(option.key).second) << option.key;
    short_names.insert(option.short_name);
  }
  for (const ClientOption &option : kClientOptions) {
    EXPECT_TRUE(long_names.insert(option.name).second) << option.name;
    short_names.insert(option.short_name);
  }
  for (const char name : std::set<char>(short_names.begin(), short_names.end())) {
    if (name != 0) {
      EXPECT_EQ(short_names.count(name), name == 'm' ? 2U : 1U) << name;
    }
  }
}

// Catches a default that changes without notice.
TEST(ClientOptionTable, FieldsStartAtTheirDefaults) {
  const ClientOptions fresh;
  EXPECT_EQ(fresh.frames, 0);
  EXPECT_EQ(fresh.duration, 0);
  EXPECT_EQ(fresh.segments, 0);
  EXPECT_EQ(fresh.delay_us, 0);
  EXPECT_EQ(fresh.mkv, nullptr);
  EXPECT_STREQ(fresh.output, "/dev/null");
  EXPECT_EQ(fresh.split_ngop, 0);
  EXPECT_EQ(fresh.split_nframes, 0);
  for (const gboolean flag :
       {fresh.meta, fresh.quiet, fresh.stats, fresh.extra_info, fresh.zel_debug, fresh.last, fresh.sync_input}) {
    EXPECT_FALSE(flag);
  }
}

// Catches an option that writes another option's field.
TEST(ClientOptionTable, EachOptionWritesItsOwnField) {
  client_options = ClientOptions();
  EXPECT_EQ(parse_client_options({"--frames=1", "--duration=2", "--segments=3", "--delay_us=4", "--mkv=m", "--output=o",
                                  "--split_ngop=5", "--split_nframes=6"}),
            "");
  EXPECT_EQ(client_options.frames, 1);
  EXPECT_EQ(client_options.duration, 2);
  EXPECT_EQ(client_options.segments, 3);
  EXPECT_EQ(client_options.delay_us, 4);
  EXPECT_STREQ(client_options.mkv, "m");
  EXPECT_STREQ(client_options.output, "o");
  EXPECT_EQ(client_options.split_ngop, 5);
  EXPECT_EQ(client_options.split_nframes, 6);
  free_file_names();

  const std::vector<std::pair<const char *, gboolean ClientOptions::*>> flags = {
      {"--last", &ClientOptions::last},           {"--sync-input", &ClientOptions::sync_input},
      {"--meta", &ClientOptions::meta},           {"--quiet", &ClientOptions::quiet},
      {"--stats", &ClientOptions::stats},         {"--extra_info", &ClientOptions::extra_info},
      {"--zel_debug", &ClientOptions::zel_debug},
  };
  for (const auto &[name, field] : flags) {
    client_options = ClientOptions();
    EXPECT_EQ(parse_client_options({name}), "");
    EXPECT_TRUE(client_options.*field) << name;
    for (const auto &[other_name, other] : flags) {
      EXPECT_EQ(client_options.*other != FALSE, other == field) << name << " against " << other_name;
    }
  }
  client_options = ClientOptions();
}

// Catches short names that stand for another option, and integers read with other rules than the option library's.
TEST(ClientOptionTable, ShortNamesAndIntegersWork) {
  client_options = ClientOptions();
  EXPECT_EQ(parse_client_options({"-n", "0x10", "-G", "-3", "-N", "2147483647", "-o", "x%d", "-mqsxD"}), "");
  EXPECT_EQ(client_options.frames, 16);
  EXPECT_EQ(client_options.split_ngop, -3);
  EXPECT_EQ(client_options.split_nframes, 2147483647);
  EXPECT_STREQ(client_options.output, "x%d");
  EXPECT_TRUE(client_options.meta && client_options.quiet && client_options.stats && client_options.extra_info &&
              client_options.zel_debug);
  EXPECT_EQ(parse_client_options({"--frames=12abc"}), "Cannot parse integer value “12abc” for --frames");
  EXPECT_EQ(parse_client_options({"-n", "99999999999"}), "Integer value “99999999999” for -n out of range");
  free_file_names();
}

// Catches an interrupt's request that the frame limit does not show.
TEST(FrameLimit, FollowsTheOptionAndTheStopRequest) {
  client_options = ClientOptions();
  client_options.frames = 5;
  EXPECT_EQ(frame_limit(), 5);
  request_stop();
  EXPECT_EQ(frame_limit(), -1);
  EXPECT_EQ(client_options.frames, -1);
  client_options = ClientOptions();
}

// Catches groups without the in-main flag (options missing in the main help), or with a help line of their own.
TEST(StreamOptions, RegisterInOneContext) {
  option_context = g_option_context_new(nullptr);
  register_stream_options();
  gchar *help = g_option_context_get_help(option_context, TRUE, nullptr);
  const std::string text = help;
  g_free(help);
  std::size_t position = 0;
  for (const StreamOption &option : kStreamOptions) {
    // The help indents every option and gives the short name first.
    const std::string name =
        (option.short_name != 0 ? std::string("  -") + option.short_name + ", --" : std::string("  --")) + option.key;
    const std::size_t found = text.find(name, position);
    EXPECT_NE(found, std::string::npos) << option.key;
    position = found != std::string::npos ? found : position;
  }
  EXPECT_NE(text.find("zel_format(h264, h265, jpeg, nv12, av1)"), std::string::npos);
  // The context stays, as it does in the program: the generated descriptions belong to nobody else.
}
