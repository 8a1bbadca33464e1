// Both option tables. That they are what a user reads and types is tested on the program, in
// tests/system/stream_options_test.cc.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "fake_zel.h"
#include "settings/client_options.h"
#include "settings/option_builders.h"
#include "settings/stream_options.h"

namespace {

/// Makes the context that register_stream_options() fills. It stays, as it does in the program: nothing else frees the
/// generated descriptions. The list stays too, for a leak is looked for after a process's static objects are gone.
void make_option_context() {
  static auto &contexts = *new std::vector<GOptionContext *>;
  option_context = contexts.emplace_back(g_option_context_new(nullptr));
}

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
  make_option_context();
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
}

// Catches an option that has no group of its own, which its help switch names.
TEST(StreamOptions, EachHasAGroupOfItsOwn) {
  make_option_context();
  register_stream_options();
  for (const StreamOption &option : kStreamOptions) {
    std::string program = "zel-client";
    std::string word = std::string("--help-") + option.key;
    std::array<char *, 3> words = {program.data(), word.data(), nullptr};
    char **argv = words.data();
    int argc = 2;
    EXPECT_EXIT(
        {
          if (freopen("/dev/null", "w", stdout) != nullptr) {
            (void)g_option_context_parse(option_context, &argc, &argv, nullptr);
          }
          _exit(1);
        },
        testing::ExitedWithCode(0), "^$")
        << option.key;
  }
}
