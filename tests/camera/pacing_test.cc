// The three clocks, and the cached producer.
#include <gtest/gtest.h>
#include <poll.h>

#include <set>

#include "support/camera_fixture.h"
#include "support/picture_decoder.h"

namespace {

using PacingTest = CameraTest;

// A rate that is no whole number of microseconds must not drift.
TEST_F(PacingTest, TheVirtualClockAdvancesByTheNominalDistance) {
  configure("pacing=virtual\nproducer=scripted\nstart_us=5\nutc_start_us=1000");
  create({{"framerate", 29.97}});
  start();
  for (const Seen &seen : fetch(1000)) {
    const guint64 distance = guint64{seen.sequence} * 100 * 1000000 / 2997;
    EXPECT_EQ(seen.timestamp, 5 + distance);
    EXPECT_EQ(seen.utc, 1000 + distance);
  }
  EXPECT_TRUE(log("drop").empty());
}

// Two runs that differ in a byte could not be compared with each other.
TEST_F(PacingTest, AVirtualRunRepeatsByteForByte) {
  const auto run = [&](guint32 format) {
    configure("pacing=virtual\nseed=3\n[frame some]\nfrom=3\nprobability=0.3\ncount=0\ndrop=true");
    create({{"resolution", zel_pair32u{192, 128}}, {"format", format}, {"gop_length", guint32{7}}});
    start();
    std::vector<std::pair<guint64, std::vector<std::uint8_t>>> frames;
    for (const Seen &seen : fetch(20))
      frames.emplace_back(seen.timestamp, seen.bytes());
    return frames;
  };
  for (const guint32 format : {0U, 1U, 2U, 10U, 4U})
    EXPECT_EQ(run(format), run(format)) << "format " << format;
}

// A client that is too slow loses frames; the grid of the others must not shift.
TEST_F(PacingTest, RealTimeKeepsItsGridThroughAnOverrun) {
  configure("producer=scripted");
  create({{"framerate", 200.0}}, 2);
  start();
  BufferRef held[2];
  for (BufferRef &buffer : held)
    buffer.reset(zel_stream_get_buffer(stream_.get(), nullptr));
  const int events = zel_stream_get_event_fd(stream_.get(), nullptr);
  std::string event;
  while (event != "'overrun'") {
    pollfd one{events, POLLIN, 0};
    ASSERT_EQ(poll(&one, 1, -1), 1);
    const MapRef map(zel_stream_get_event(stream_.get(), nullptr));
    GVariant *text = zel_map_get_variant(map.get(), "event", nullptr);
    gchar *printed = g_variant_print(text, FALSE);
    event = printed;
    g_free(printed);
    g_variant_unref(text);
  }
  const guint32 first = zel_frame_get_sequence_nbr(held[0].get());
  const guint64 start_us = zel_frame_get_timestamp(held[0].get());
  for (const BufferRef &buffer : held)
    ASSERT_TRUE(zel_stream_buffer_enqueue(stream_.get(), buffer.get(), nullptr));
  for (const Seen &seen : fetch(20))
    EXPECT_EQ(seen.timestamp, start_us + guint64{seen.sequence - first} * 5000);
  stop();
  std::set<unsigned> sequences;
  bool overrun = false;
  for (const auto &line : log("drop")) {
    overrun |= line["reason"] == "no-buffer";
    EXPECT_TRUE(sequences.insert(line["sequence"].get<unsigned>()).second);
  }
  for (const auto &line : log("frame"))
    EXPECT_TRUE(sequences.insert(line["sequence"].get<unsigned>()).second);
  EXPECT_TRUE(overrun);
  EXPECT_EQ(*sequences.rbegin() + 1, sequences.size());
}

// Timestamps are of the moment of capture, on the clock that a client reads.
TEST_F(PacingTest, RealTimestampsAreOfTheCapture) {
  for (const char *pacing : {"pacing=real-time", "pacing=unpaced"}) {
    configure(std::string(pacing) + "\nproducer=scripted\n[frame late]\ncount=0\nlatency_us=3000");
    create({{"framerate", 500.0}});
    const auto before = static_cast<guint64>(g_get_monotonic_time());
    const auto utc_before = static_cast<guint64>(g_get_real_time());
    start();
    const std::vector<Seen> frames = fetch(5);
    const auto after = static_cast<guint64>(g_get_monotonic_time());
    const auto utc_after = static_cast<guint64>(g_get_real_time());
    for (const Seen &seen : frames) {
      EXPECT_GE(seen.timestamp, before);
      EXPECT_LE(seen.timestamp + 3000, after);
      EXPECT_GE(seen.utc + 2, utc_before);
      EXPECT_LE(seen.utc, utc_after);
    }
    for (const auto &line : log("frame")) {
      EXPECT_GE(line["handed_us"].get<std::uint64_t>(), line["captured_us"].get<std::uint64_t>() + 3000);
    }
  }
}

// Nothing is dropped for lack of buffers when the client sets the pace.
TEST_F(PacingTest, UnpacedWaitsForTheClient) {
  configure("pacing=unpaced\nproducer=scripted");
  create({}, 1);
  start();
  guint32 next = 0;
  for (const Seen &seen : fetch(200))
    EXPECT_EQ(seen.sequence, next++);
}

// The loop must follow itself: whatever came round is decodable and carries fresh numbers and times.
TEST_F(PacingTest, CachedFramesComeRoundWithFreshNumbers) {
  configure("pacing=virtual\nproducer=cached");
  create({{"resolution", zel_pair32u{192, 128}}, {"framerate", 10.0}, {"gop_length", guint32{15}}});
  start();
  const std::vector<Seen> frames = fetch(75);
  for (std::size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].sequence, i);
    EXPECT_EQ(frames[i].timestamp, 1000000 + i * 100000);
    EXPECT_EQ(frames[i].key, i % 15 == 0);
    if (i >= 30) {
      EXPECT_EQ(frames[i].bytes(), frames[i - 30].bytes());
    }
  }
  EXPECT_EQ(decode("h264", frames).size(), frames.size());
}

TEST_F(PacingTest, ACachedKeyFrameCanBeForced) {
  configure("pacing=virtual\nproducer=cached");
  create({{"resolution", zel_pair32u{64, 64}}, {"framerate", 10.0}, {"gop_length", guint32{30}}}, 1);
  start();
  (void)fetch(5);
  ASSERT_TRUE(zel_stream_force_key_frame(stream_.get(), nullptr));
  const std::vector<Seen> frames = fetch(3);
  EXPECT_TRUE(frames[0].key || frames[1].key || frames[2].key);
}

}  // namespace
