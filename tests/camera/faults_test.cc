// Faults in calls, and the call log.
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>

#include "support/camera_fixture.h"

namespace {

using FaultTest = CameraTest;

// A fault applies to the calls that it names and to no others.
TEST_F(FaultTest, AppliesFromTheNthCallSoManyTimes) {
  configure(
      "pacing=virtual\nproducer=scripted\n[fault disk]\ncall=zel_stream_get_buffer\nnth=2\ntimes=2\ncode=8\n"
      "message=Broken\nerrno=EBADF");
  create({});
  start();
  EXPECT_EQ(fetch().sequence, 0U);
  for (int i = 0; i < 2; ++i) {
    const Failure failure = fetch_failure();
    EXPECT_EQ(failure.code, 8);
    EXPECT_EQ(failure.message, "Broken");
    EXPECT_FALSE(failure.expected);
    EXPECT_EQ(failure.error_number, EBADF);
  }
  EXPECT_EQ(fetch().sequence, 1U);
  ASSERT_EQ(log("fault").size(), 2U);
  EXPECT_EQ(log("fault")[0], nlohmann::json({{"kind", "fault"}, {"name", "disk"}, {"call", "zel_stream_get_buffer"}}));
}

TEST_F(FaultTest, AppliesForEverWithoutAnError) {
  configure("pacing=virtual\nproducer=scripted\n[fault mute]\ncall=zel_stream_start\ntimes=0\nset_error=false");
  create({});
  ErrorSlot error;
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(zel_stream_start(stream_.get(), error.address()));
    const Failure failure = take_failure(error);
    EXPECT_EQ(failure.code, 0);
    EXPECT_EQ(failure.error_number, EIO);
  }
  EXPECT_TRUE(log("event").empty());
}

// Two runs with one seed must fail at the same calls; another seed at others.
TEST_F(FaultTest, ChanceRepeatsWithTheSeed) {
  const auto pattern = [&](const std::string &seed) {
    configure("pacing=virtual\nproducer=scripted\nseed=" + seed +
              "\n[fault luck]\ncall=zel_stream_force_key_frame\nprobability=0.5");
    create({});
    std::string calls;
    for (int i = 0; i < 64; ++i)
      calls += zel_stream_force_key_frame(stream_.get(), nullptr) ? '.' : 'x';
    return calls;
  };
  const std::string first = pattern("1");
  EXPECT_EQ(pattern("1"), first);
  EXPECT_NE(pattern("2"), first);
  EXPECT_NE(first.find('.'), std::string::npos);
  EXPECT_NE(first.find('x'), std::string::npos);
}

volatile std::sig_atomic_t signals = 0;

// A signal must reach the calling thread before the call does its work.
TEST_F(FaultTest, RaisesASignalBetweenCalls) {
  configure(
      "pacing=virtual\nproducer=scripted\n[fault interrupt]\ncall=zel_stream_get_buffer\nsignal=SIGUSR1\nfail=false");
  signals = 0;
  (void)std::signal(SIGUSR1, [](int) { signals = signals + 1; });
  create({});
  start();
  EXPECT_EQ(fetch().sequence, 0U);
  EXPECT_EQ(signals, 1);
  EXPECT_EQ(fetch().sequence, 1U);
  EXPECT_EQ(signals, 1);
  (void)std::signal(SIGUSR1, SIG_DFL);
}

TEST_F(FaultTest, StallsFirst) {
  configure("[fault slow]\ncall=zel_map_new\nstall_us=20000\nfail=false");
  const gint64 before = g_get_monotonic_time();
  EXPECT_NE(request({}), nullptr);
  EXPECT_GE(g_get_monotonic_time() - before, 20000);
}

// Every kind of result has its failed form.
TEST_F(FaultTest, FailedCallsReturnWhatTheInterfaceSays) {
  std::string lines = "pacing=virtual\nproducer=scripted\n";
  for (const char *call : {"zel_stream_get_fd", "zel_stream_get_info", "zel_stream_play", "zel_stream_buffer_alloc",
                           "zel_frame_take_chunk", "zel_frame_get_size", "zel_map_get_uint32", "zel_map_get_variant"}) {
    lines += std::string("[fault ") + call + "]\ncall=" + call + "\ncode=17\nmessage=No\n";
  }
  configure(lines);
  create({}, 0);
  ErrorSlot error;
  EXPECT_EQ(zel_stream_get_fd(stream_.get(), error.address()), -1);
  EXPECT_EQ(take_failure(error).code, 17);
  EXPECT_EQ(zel_stream_get_info(stream_.get(), error.address()), nullptr);
  EXPECT_EQ(take_failure(error).code, 17);
  EXPECT_FALSE(zel_stream_play(stream_.get(), nullptr, error.address()));
  EXPECT_EQ(take_failure(error).code, 17);
  EXPECT_EQ(zel_stream_buffer_alloc(stream_.get(), nullptr, error.address()), nullptr);
  EXPECT_EQ(take_failure(error).code, 17);
  const BufferRef buffer(zel_stream_buffer_alloc(stream_.get(), nullptr, nullptr));
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(zel_frame_take_chunk(buffer.get(), error.address()).mark, G_MININT32);
  EXPECT_EQ(take_failure(error).code, 17);
  EXPECT_EQ(zel_frame_get_size(buffer.get()), 0U);
  const MapRef map = request({{"k", guint32{1}}});
  EXPECT_EQ(zel_map_get_uint32(map.get(), "k", 9), 9U);
  GVariant *variant = zel_map_get_variant(map.get(), "k", g_variant_new_uint32(9));
  ASSERT_NE(variant, nullptr);
  EXPECT_EQ(g_variant_get_uint32(variant), 9U);
  g_variant_unref(variant);
}

// The order of calls is what clients are judged by: each call has its line, with what went in and what came out.
TEST_F(FaultTest, TheLogHasEveryCallInOrder) {
  configure("pacing=virtual\nproducer=scripted");
  create({{"bitrate", guint32{100000}}}, 1);
  start();
  const Seen seen = fetch();
  stop();
  buffers_.clear();
  stream_.reset();
  std::vector<std::string> names;
  for (const auto &line : log("call"))
    names.push_back(line["name"]);
  const std::vector<std::string> expected = {"zel_map_new",
                                             "zel_map_set_uint32",
                                             "zel_stream_new",
                                             "zel_stream_buffer_alloc",
                                             "zel_stream_buffer_enqueue",
                                             "zel_stream_start",
                                             "zel_stream_get_buffer",
                                             "zel_buffer_get_frame",
                                             "zel_frame_get_sequence_nbr"};
  ASSERT_GE(names.size(), expected.size());
  names.resize(expected.size());
  EXPECT_EQ(names, expected);
  const auto calls = log("call");
  EXPECT_EQ(calls[1].dump(), R"({"args":{"key":"bitrate","map":1,"value":100000},"kind":"call","n":2,)"
                             R"("name":"zel_map_set_uint32","result":null})");
  EXPECT_EQ(calls[4]["args"], nlohmann::json({{"stream", 1}, {"buffer", 1}}));
  EXPECT_EQ(calls[4]["result"], true);
  std::vector<std::string> released;
  for (const auto &line : log("release"))
    released.push_back(line["object"]);
  EXPECT_EQ(released, (std::vector<std::string>{"map", "buffer", "map", "stream"}));
}

TEST_F(FaultTest, GettersCanBeLeftOut) {
  configure("pacing=virtual\nproducer=scripted\nlog_getters=false");
  create({}, 1);
  start();
  (void)fetch();
  for (const auto &line : log("call")) {
    const std::string name = line["name"];
    EXPECT_FALSE(name.starts_with("zel_frame_") || name.starts_with("zel_buffer_get")) << name;
  }
}

TEST_F(FaultTest, TheLogSaysHowACallFailed) {
  const Failure failure = refusal({{"bitrate", guint32{16}}});
  EXPECT_EQ(failure.error_number, EINVAL);
  const auto calls = log("call");
  ASSERT_EQ(calls[2]["name"], "zel_stream_new");
  EXPECT_EQ(calls[2]["result"], nullptr);
  EXPECT_EQ(calls[2]["errno"], "EINVAL");
  EXPECT_EQ(calls[2]["error"], nlohmann::json({{"code", 4}, {"message", failure.message}}));
}

}  // namespace
