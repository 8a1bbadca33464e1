// The frame script and the truth about frames.
#include <gtest/gtest.h>

#include "producer/frame_script.h"
#include "support/camera_fixture.h"

namespace {

class FrameTest : public CameraTest {
 protected:
  /// A running stream of scripted frames at 10 a second with these groups.
  void script(const std::string &groups, std::initializer_list<Asked> asked = {{"framerate", 10.0}}) {
    configure("pacing=virtual\nproducer=scripted\n" + groups);
    create(asked);
    start();
  }
};

// The log is what recordings are compared with: it must say what the client saw.
TEST_F(FrameTest, TheLogAgreesWithTheClient) {
  script("");
  const std::vector<Seen> frames = fetch(20);
  const auto lines = log("frame");
  ASSERT_EQ(lines.size(), frames.size());
  const std::vector<std::uint8_t> recorded = record();
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const Seen &seen = frames[i];
    const auto &line = lines[i];
    EXPECT_EQ(line["sequence"], seen.sequence);
    EXPECT_EQ(line["timestamp"], seen.timestamp);
    EXPECT_EQ(line["utc"], seen.utc);
    EXPECT_EQ(line["custom"], seen.custom);
    EXPECT_EQ(line["size"], seen.size);
    EXPECT_EQ(line["header_size"], seen.header_size);
    EXPECT_EQ(line["type_value"], seen.type);
    EXPECT_EQ(line["key"], seen.key);
    EXPECT_EQ(line["shown"], seen.shown);
    EXPECT_EQ(line["segment_start"], seen.segment_start);
    EXPECT_EQ(line["empty"], seen.empty);
    EXPECT_EQ(line["capacity"], seen.capacity);
    EXPECT_EQ(line["chunks"], seen.chunks.size());
    EXPECT_EQ(line["buffer_id"], seen.buffer);
    const auto begin = recorded.begin() + line["offset"].get<std::ptrdiff_t>();
    EXPECT_EQ(std::vector<std::uint8_t>(begin, begin + static_cast<std::ptrdiff_t>(seen.size)), seen.bytes());
  }
}

TEST_F(FrameTest, DropsShowAsGaps) {
  script("[frame lost]\nfrom=2\ncount=3\ndrop=true");
  std::vector<guint32> sequences;
  for (const Seen &seen : fetch(4))
    sequences.push_back(seen.sequence);
  EXPECT_EQ(sequences, (std::vector<guint32>{0, 1, 5, 6}));
  ASSERT_EQ(log("drop").size(), 3U);
  EXPECT_EQ(log("drop")[0].dump(), R"({"kind":"drop","reason":"injected","sequence":2,"stream":1})");
}

TEST_F(FrameTest, EveryPicksTheNthOfTheRange) {
  script("[frame odd]\nfrom=1\nevery=2\ncount=2\nshown=false");
  std::string shown;
  for (const Seen &seen : fetch(6))
    shown += seen.shown ? '1' : '0';
  EXPECT_EQ(shown, "101011");
}

TEST_F(FrameTest, ChanceRepeatsWithTheSeed) {
  const auto pattern = [&](const std::string &seed) {
    script("seed=" + seed + "\n[frame luck]\nprobability=0.5\ncount=0\nshown=false");
    std::string shown;
    for (const Seen &seen : fetch(64))
      shown += seen.shown ? '1' : '0';
    return shown;
  };
  const std::string first = pattern("5");
  EXPECT_EQ(pattern("5"), first);
  EXPECT_NE(pattern("6"), first);
}

// Clients must cope with frames of no bytes and of many.
TEST_F(FrameTest, SizesFromNothingTo12Megabytes) {
  script(
      "[frame none]\nfrom=1\nsize=0\nheader_size=0\n[frame large]\nfrom=2\nsize=12582912\nheader_size=77\n"
      "[frame tight]\nfrom=3\nsize=5000\ncapacity=100");
  const std::vector<Seen> frames = fetch(4);
  EXPECT_EQ(frames[1].size, 0U);
  EXPECT_TRUE(frames[1].chunks.empty());
  EXPECT_TRUE(frames[1].contiguous);
  EXPECT_EQ(frames[2].size, 12582912U);
  EXPECT_EQ(frames[2].bytes().size(), 12582912U);
  EXPECT_EQ(frames[2].header_size, 77);
  EXPECT_EQ(frames[2].capacity, 12582912U);
  EXPECT_EQ(frames[3].capacity, 100U);
}

// The pieces must not lie next to each other by chance: a client that reads on past a chunk would not be caught.
TEST_F(FrameTest, ChunksAddUpAndLieApart) {
  script(
      "[frame whole]\nfrom=0\nsize=30\n[frame thirds]\nfrom=1\nsize=30\nchunks=3\n"
      "[frame odd]\nfrom=2\nsize=30\nchunk_sizes=10;0;7\n[frame hidden]\nfrom=3\nsize=30\nchunks=2\nnull_chunk=1");
  const Seen whole = fetch();
  EXPECT_EQ(whole.chunks.size(), 1U);
  EXPECT_TRUE(whole.contiguous);
  BufferRef buffer(zel_stream_get_buffer(stream_.get(), nullptr));
  EXPECT_FALSE(zel_buffer_is_contiguous(buffer.get()));
  const zel_chunk first = zel_frame_take_chunk(buffer.get(), nullptr);
  const zel_chunk second = zel_frame_take_chunk(buffer.get(), nullptr);
  EXPECT_EQ(first.size, 10U);
  EXPECT_EQ(second.size, 10U);
  EXPECT_NE(static_cast<char *>(first.data) + first.size, static_cast<char *>(second.data));
  EXPECT_EQ(zel_frame_take_chunk(buffer.get(), nullptr).size, 10U);
  EXPECT_EQ(zel_frame_take_chunk(buffer.get(), nullptr).size, 0U);
  buffer.reset(zel_stream_get_buffer(stream_.get(), nullptr));
  EXPECT_EQ(zel_frame_take_chunk(buffer.get(), nullptr).size, 10U);
  EXPECT_EQ(zel_frame_take_chunk(buffer.get(), nullptr).size, 0U);
  EXPECT_EQ(zel_frame_take_chunk(buffer.get(), nullptr).size, 7U);
  EXPECT_EQ(zel_frame_take_chunk(buffer.get(), nullptr).size, 13U);
  buffer.reset(zel_stream_get_buffer(stream_.get(), nullptr));
  EXPECT_NE(zel_frame_take_chunk(buffer.get(), nullptr).data, nullptr);
  const zel_chunk hidden = zel_frame_take_chunk(buffer.get(), nullptr);
  EXPECT_EQ(hidden.data, nullptr);
  EXPECT_EQ(hidden.size, 15U);
}

TEST_F(FrameTest, TakingAChunkCanFail) {
  script("[frame broken]\ntake_fails=true");
  const BufferRef buffer(zel_stream_get_buffer(stream_.get(), nullptr));
  ErrorSlot error;
  EXPECT_EQ(zel_frame_take_chunk(buffer.get(), error.address()).mark, G_MININT32);
  EXPECT_EQ(take_failure(error).code, 8);
  EXPECT_EQ(zel_frame_take_chunk_ex(buffer.get(), 0).mark, G_MININT32);
}

TEST_F(FrameTest, ClocksStepFromAFrameOn) {
  script(
      "[frame back]\nfrom=2\nclock_step_us=-250000\nutc_step_us=1000\n[frame fixed]\nfrom=4\ntimestamp_us=4294967296\n"
      "custom_us=9");
  const std::vector<Seen> frames = fetch(6);
  EXPECT_EQ(frames[1].timestamp, 1100000U);
  EXPECT_EQ(frames[2].timestamp, 950000U);
  EXPECT_EQ(frames[2].utc, 1700000000201000U);
  EXPECT_EQ(frames[3].timestamp, 1050000U);
  EXPECT_EQ(frames[4].timestamp, 4294967296U);
  EXPECT_EQ(frames[4].custom, 9U);
  EXPECT_EQ(frames[5].timestamp, 1250000U);
}

// The custom timestamp is the timestamp or the wall-clock time of the frame, so that it steps with them.
TEST_F(FrameTest, CustomTimestampsStepWithTheirClock) {
  const std::string groups = "[frame jump]\nfrom=1\nclock_step_us=5000\nutc_step_us=-7000";
  const auto custom = [&](guint32 type) {
    script(groups, {{"framerate", 10.0}, {"timestamp.type", type}});
    return fetch(2)[1].custom;
  };
  EXPECT_EQ(custom(0), 1105000U);
  EXPECT_EQ(custom(1), 1700000000093000U);
  EXPECT_EQ(custom(2), 100000U);
  EXPECT_EQ(custom(3), 1U);
}

// A frame that a stop keeps from being made is judged again after the start: its step must not count twice.
TEST_F(FrameTest, AClockStepsOnceThoughTheFrameIsJudgedTwice) {
  camera::CameraConfig config;
  camera::FrameFault jump;
  jump.from = 4;
  jump.clock_step_us = 1000;
  jump.utc_step_us = -2000;
  config.frame_faults.push_back(jump);
  camera::FrameScript script(config);
  for (const std::uint64_t sequence : {3U, 4U, 4U, 5U})
    (void)script.faults_of(sequence);
  camera::Frame frame;
  frame.timestamp_us = 50000;
  frame.utc_us = 60000;
  script.step_clocks(frame);
  EXPECT_EQ(frame.timestamp_us, 51000U);
  EXPECT_EQ(frame.utc_us, 58000U);
}

TEST_F(FrameTest, FlagsAndTypesCanBeChanged) {
  script(
      "[frame type]\nfrom=1\ntype=b\n[frame strange]\nfrom=2\ntype=999\n[frame flags]\nfrom=3\nkey=true\nshown=false\n"
      "segment_start=true\n[frame empty]\nfrom=4\nempty=true\n[frame wide]\nfrom=5\nempty=wide");
  const std::vector<Seen> frames = fetch(5);
  EXPECT_EQ(frames[1].type, 4U);
  EXPECT_EQ(frames[2].type, 999U);
  EXPECT_TRUE(frames[3].key);
  EXPECT_FALSE(frames[3].shown);
  EXPECT_TRUE(frames[3].segment_start);
  EXPECT_TRUE(frames[4].empty);
  const BufferRef buffer(zel_stream_get_buffer(stream_.get(), nullptr));
  GVariant *variant = zel_map_get_variant(zel_frame_get_extra_info(buffer.get()), "empty", nullptr);
  ASSERT_NE(variant, nullptr);
  EXPECT_EQ(g_variant_get_size(variant), 4U);
  g_variant_unref(variant);
  EXPECT_EQ(log("frame")[5]["empty"], "wide");
  EXPECT_EQ(log("frame")[2]["type"], "");
}

// On the virtual clock latency passes in no time, but the log says it.
TEST_F(FrameTest, LatencyShowsInTheLog) {
  script("[frame late]\nfrom=1\nlatency_us=40000\njitter_us=5000");
  (void)fetch(2);
  const auto line = log("frame")[1];
  const auto latency = line["handed_us"].get<std::uint64_t>() - line["captured_us"].get<std::uint64_t>();
  EXPECT_GE(latency, 40000U);
  EXPECT_LE(latency, 45000U);
}

// The end of a stream is an expected error, and a polling client wakes up for it.
TEST_F(FrameTest, TheStreamCanEnd) {
  script("[frame end]\nfrom=2\nend=true");
  (void)fetch(2);
  for (int i = 0; i < 2; ++i) {
    const Failure failure = fetch_failure();
    EXPECT_EQ(failure.code, 5);
    EXPECT_EQ(failure.message, "The stream has ended");
    EXPECT_TRUE(failure.expected);
  }
  EXPECT_TRUE(is_readable(zel_stream_get_fd(stream_.get(), nullptr)));
  stop();
  EXPECT_FALSE(is_readable(zel_stream_get_fd(stream_.get(), nullptr)));
}

// Frames on their way belong before the end: a client stops fetching at the end and would lose them.
TEST_F(FrameTest, TheEndWaitsForLatency) {
  configure("producer=scripted\n[frame late]\ncount=0\nlatency_us=400000\n[frame end]\nfrom=2\nend=true");
  create({{"framerate", 10.0}});
  start();
  ErrorSlot error;
  while (const BufferRef buffer{zel_stream_get_buffer(stream_.get(), error.address())})
    ASSERT_GT(zel_frame_get_size(buffer.get()), 0U);
  EXPECT_EQ(take_failure(error).message, "The stream has ended");
  stop();
  for (const nlohmann::json &line : log("drop"))
    EXPECT_NE(line["reason"], "stopped");
}

}  // namespace
