// What each setting of the stream does, measured in the delivered stream. A test is named after its setting.
#include <gtest/gtest.h>
#include <sched.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>

#include "support/effect.h"
#include "support/marker_reader.h"

namespace {

TEST_F(Effect, format) {
  EXPECT_EQ(decode("h264", run({kSize, {"format", guint32{0}}}, 2)).size(), 2U);
  EXPECT_EQ(info("format"), 0);
  EXPECT_EQ(decode("hevc", run({kSize, {"format", guint32{1}}}, 2)).size(), 2U);
  EXPECT_EQ(info("format"), 1);
}

TEST_F(Effect, resolution) {
  const DecodedPicture decoded = decode("h264", run({{"resolution", zel_pair32u{208, 112}}}, 1)).at(0);
  EXPECT_EQ(decoded.width, 208);
  EXPECT_EQ(decoded.height, 112);
  EXPECT_EQ(info("width"), 208);
  EXPECT_EQ(info("height"), 112);
}

TEST_F(Effect, framerate) {
  const std::vector<Seen> frames = run({kSize, {"framerate", 12.5}}, 3);
  EXPECT_EQ(frames[2].timestamp - frames[0].timestamp, 160000U);
  EXPECT_EQ(info("framerate"), 12.5);
}

TEST_F(Effect, framerate_auto) {
  const std::vector<Seen> frames = run({kSize, {"framerate", 12.5}, {"framerate.auto", true}}, 4);
  EXPECT_EQ(frames[3].timestamp - frames[0].timestamp, 100000U);
  EXPECT_EQ(info("framerate"), 30);
}

TEST_F(Effect, h264_profile) {
  const int expected[] = {66, 77, 100};
  for (guint32 profile = 0; profile < 3; ++profile) {
    EXPECT_EQ(decode("h264", run({kSize, {"h264.profile", profile}}, 2)).at(1).profile & 0xFF, expected[profile]);
  }
}

TEST_F(Effect, h265_profile) {
  const DecodedPicture main = decode("hevc", run({kSize, {"format", guint32{1}}}, 1)).at(0);
  EXPECT_EQ(main.profile, 1);
  EXPECT_EQ(main.depth, 8);
  const DecodedPicture deep =
      decode("hevc", run({kSize, {"format", guint32{1}}, {"h265.profile", guint32{1}}}, 1)).at(0);
  EXPECT_EQ(deep.profile, 2);
  EXPECT_EQ(deep.depth, 10);
}

TEST_F(Effect, rc_mode) {
  const auto quantisers = [&](guint32 mode) {
    std::set<int> seen;
    const Asked bitrate = {"bitrate", guint32{200000}};
    for (const DecodedPicture &decoded : decode("h264", run({kSize, {"rc.mode", mode}, bitrate}, 60))) {
      if (!decoded.key) seen.insert(decoded.quantiser);
    }
    return seen;
  };
  EXPECT_EQ(quantisers(0), (std::set<int>{22}));
  EXPECT_GT(quantisers(2).size(), 1U);
  // Constant means that a still scene, which needs next to nothing, is filled up to the rate.
  const auto still_rate = [&](guint32 mode) {
    const Asked bitrate = {"bitrate", guint32{400000}};
    return bits_a_second(run({kSize, kStill, {"rc.mode", mode}, bitrate}, 90), 30);
  };
  EXPECT_GT(still_rate(1), 300000);
  EXPECT_LT(still_rate(2), 50000);
  // With an upper limit the quality gives way.
  const auto limited_rate = [&](guint32 bitrate) {
    return bits_a_second(run({kSize, {"rc.mode", guint32{3}}, {"compression", guint32{0}}, {"bitrate", bitrate}}, 90),
                         30);
  };
  EXPECT_LT(limited_rate(100000), limited_rate(2000000) / 2);
}

TEST_F(Effect, bitrate) {
  for (const guint32 bitrate : {100000U, 400000U}) {
    const double measured = bits_a_second(run({kSize, {"bitrate", bitrate}}, 150), 30);
    EXPECT_GT(measured, bitrate * 0.7);
    EXPECT_LT(measured, bitrate * 1.3);
  }
}

TEST_F(Effect, abr_target_bitrate) {
  const double measured = bits_a_second(
      run({kSize, {"rc.mode", guint32{4}}, {"bitrate", guint32{1000000}}, {"abr.target_bitrate", guint32{150000}}},
          150),
      30);
  EXPECT_GT(measured, 150000 * 0.7);
  EXPECT_LT(measured, 150000 * 1.3);
}

TEST_F(Effect, compression) {
  for (const guint32 format : {0U, 1U, 2U, 10U}) {
    const auto size = [&](guint32 compression) {
      return bits_a_second(run({kSize, {"format", format}, {"compression", compression}}, 5), 30);
    };
    EXPECT_GT(size(0), size(50)) << format;
    EXPECT_GT(size(50), size(100)) << format;
  }
}

TEST_F(Effect, qp_i) {
  const auto decoded = decode("h264", run({kSize, {"qp.i", guint32{15}}, {"qp.p", guint32{33}}}, 4));
  EXPECT_EQ(decoded.at(0).quantiser, 15);
  EXPECT_EQ(decoded.at(1).quantiser, 33);
  const auto size = [&](guint32 qp) {
    return run({kSize, {"format", guint32{1}}, {"qp.i", qp}, {"qp.p", guint32{30}}}, 1)[0].size;
  };
  EXPECT_GT(size(15), size(40));
}

TEST_F(Effect, qp_p) {
  const auto decoded = decode("h264", run({kSize, {"qp.i", guint32{30}}, {"qp.p", guint32{20}}}, 4));
  EXPECT_EQ(decoded.at(0).quantiser, 30);
  EXPECT_EQ(decoded.at(3).quantiser, 20);
  for (const guint32 format : {1U, 10U}) {
    const auto size = [&](guint32 qp) {
      return bits_a_second(run({kSize, {"format", format}, {"qp.i", qp}, {"qp.p", qp}}, 5), 30);
    };
    EXPECT_GT(size(15), size(40)) << format;
  }
}

TEST_F(Effect, gop_length) {
  for (const guint32 format : {0U, 1U, 10U}) {
    EXPECT_EQ(keys(run({kSize, {"format", format}, {"gop_length", guint32{4}}}, 10)), (Numbers{0, 4, 8}));
    EXPECT_EQ(keys(run({kSize, {"format", format}, {"gop_length", guint32{0}}}, 70)), (Numbers{0}));
  }
}

TEST_F(Effect, dynamic_gop) {
  const std::initializer_list<Asked> still = {
      kSize, kStill, {"gop_length", guint32{3}}, {"dynamic.gop", true}, {"lumo.max_gop_length", guint32{8}}};
  EXPECT_EQ(keys(run(still, 18)), (Numbers{0, 8, 16}));
  EXPECT_EQ(keys(run({kSize, {"gop_length", guint32{3}}, {"dynamic.gop", true}}, 8)), (Numbers{0, 3, 6}));
}

TEST_F(Effect, dynamic_force) {
  EXPECT_EQ(refusal({{"dynamic.gop", true}, {"lumo.gop_mode", guint32{1}}}).message,
            "lumo.gop_mode: 1 is not accepted together with dynamic.gop (unless dynamic.force is true)");
  create({{"dynamic.gop", true}, {"lumo.gop_mode", guint32{1}}, {"dynamic.force", true}});
}

TEST_F(Effect, lumo_gop_mode) {
  EXPECT_EQ(keys(run({kSize,
                      kStill,
                      {"gop_length", guint32{3}},
                      {"lumo.gop_mode", guint32{1}},
                      {"lumo.max_gop_length", guint32{5}}},
                     8)),
            (Numbers{0, 5}));
}

TEST_F(Effect, lumo_max_gop_length) {
  EXPECT_EQ(
      keys(run({kSize, kStill, {"gop_length", guint32{3}}, {"dynamic.gop", true}, {"lumo.max_gop_length", guint32{0}}},
               20)),
      (Numbers{0}));
}

TEST_F(Effect, dynamic_framerate) {
  EXPECT_EQ(sequences(run({kSize, kStill, kTenFrames, {"dynamic.framerate", true}}, 4)), (Numbers{0, 10, 20, 30}));
  for (const auto &line : log("drop"))
    EXPECT_EQ(line["reason"], "still");
  EXPECT_EQ(sequences(run({kSize, kTenFrames, {"dynamic.framerate", true}}, 4)), (Numbers{0, 1, 2, 3}));
}

TEST_F(Effect, lumo_fps_mode) {
  EXPECT_EQ(sequences(run({kSize, kStill, kTenFrames, {"lumo.fps_mode", guint32{1}}}, 3)), (Numbers{0, 10, 20}));
}

TEST_F(Effect, lumo_min_fps_num) {
  EXPECT_EQ(
      sequences(run({kSize, kStill, kTenFrames, {"lumo.fps_mode", guint32{1}}, {"lumo.min_fps_num", guint32{5}}}, 3)),
      (Numbers{0, 2, 4}));
}

TEST_F(Effect, lumo_min_fps_den) {
  EXPECT_EQ(
      sequences(run({kSize, kStill, kTenFrames, {"lumo.fps_mode", guint32{1}}, {"lumo.min_fps_den", guint32{2}}}, 3)),
      (Numbers{0, 20, 40}));
}

TEST_F(Effect, lumo_skip_mode) {
  configure("pacing=virtual\nmarker=true");
  const std::vector<Seen> frames =
      run({kSize, kStill, kTenFrames, {"lumo.fps_mode", guint32{1}}, {"lumo.skip_mode", guint32{1}}}, 12);
  for (const Seen &seen : frames) {
    EXPECT_EQ(seen.empty, seen.sequence % 10 != 0) << seen.sequence;
    if (seen.empty) {
      EXPECT_LT(seen.size, 100U);
    }
  }
  const std::vector<DecodedPicture> decoded = decode("h264", frames);
  for (std::size_t i = 0; i < decoded.size(); ++i) {
    const std::optional<Marker> marker = read_marker(decoded[i]);
    ASSERT_TRUE(marker) << i;
    EXPECT_EQ(marker->sequence, i / 10 * 10);  // an empty frame shows the picture before it
  }
  // Key frames are never empty, and these formats have no others.
  for (const guint32 format : {2U, 5U}) {
    for (const Seen &seen : run({kSize,
                                 kStill,
                                 kTenFrames,
                                 {"format", format},
                                 {"lumo.fps_mode", guint32{1}},
                                 {"lumo.skip_mode", guint32{1}}},
                                3)) {
      EXPECT_FALSE(seen.empty);
      EXPECT_GT(seen.size, 100U);
    }
  }
}

TEST_F(Effect, timestamp_type) {
  const auto custom = [&](guint32 type) { return run({kSize, kRaw, kTenFrames, {"timestamp.type", type}}, 3)[2]; };
  EXPECT_EQ(custom(0).custom, 1200000U);
  EXPECT_EQ(custom(1).custom, 1700000000200000U);
  EXPECT_EQ(custom(2).custom, 200000U);
  EXPECT_EQ(custom(3).custom, 2U);
}

TEST_F(Effect, buffer_access) {
  for (const guint32 access : {0U, 1U, 2U, 3U}) {
    create({kSize, {"buffer.access", access}});
    start();
    const BufferRef buffer(zel_stream_get_buffer(stream_.get(), nullptr));
    const zel_chunk chunk = zel_frame_take_chunk(buffer.get(), nullptr);
    EXPECT_EQ(chunk.size, zel_frame_get_size(buffer.get()));
    EXPECT_EQ(chunk.data != nullptr, (access & 1U) != 0);
  }
}

TEST_F(Effect, buffer_strategy) {
  create({kSize, {"buffer.strategy", guint32{4}}}, 0);
  ErrorSlot error;
  EXPECT_EQ(zel_stream_buffer_alloc(stream_.get(), nullptr, error.address()), nullptr);
  EXPECT_EQ(take_failure(error).message, "The stream brings its own buffers");
  start();
  EXPECT_EQ(sequences(fetch(25)).back(), 24U);
}

// A buffer that a client drops instead of handing back must not be missed for ever.
TEST_F(Effect, buffer_count) {
  create({kSize, {"buffer.strategy", guint32{4}}, {"buffer.count", guint32{2}}}, 0);
  start();
  std::set<guint32> ids;
  for (const Seen &seen : fetch(10))
    ids.insert(seen.buffer);
  EXPECT_EQ(ids, (std::set<guint32>{1, 2}));
  for (int i = 0; i < 10; ++i)
    EXPECT_NE(BufferRef(zel_stream_get_buffer(stream_.get(), nullptr)), nullptr);
}

TEST_F(Effect, frame_chunks) {
  const std::vector<Seen> sparse = run({kSize, {"frame.chunks", true}, {"gop_length", guint32{2}}}, 4);
  for (const Seen &seen : sparse) {
    EXPECT_EQ(seen.chunks.size(), seen.key ? 2U : 1U);
    EXPECT_EQ(seen.contiguous, !seen.key);
    if (seen.key) {
      EXPECT_EQ(seen.chunks[0].size(), static_cast<std::size_t>(seen.header_size));
    }
  }
  for (const Seen &seen : run({kSize, {"frame.chunks", false}}, 2))
    EXPECT_TRUE(seen.contiguous);
}

// What is kept back must not be fetched before play, and then begins with a key frame.
TEST_F(Effect, buffer_us) {
  create({kSize, kTenFrames, {"buffer_us", guint32{300000}}, {"socket.blocking", false}}, 8);
  start();
  EXPECT_EQ(fetch_failure().code, 13);
  EXPECT_FALSE(is_readable(zel_stream_get_fd(stream_.get(), nullptr)));
  ASSERT_TRUE(zel_stream_play(stream_.get(), nullptr, nullptr));
  std::vector<Seen> frames;
  while (frames.size() < 6) {
    const BufferRef buffer(zel_stream_get_buffer(stream_.get(), nullptr));
    if (buffer == nullptr) continue;
    frames.push_back(look_at(buffer.get()));
    ASSERT_TRUE(zel_stream_buffer_enqueue(stream_.get(), buffer.get(), nullptr));
  }
  EXPECT_EQ(sequences(frames), (Numbers{0, 1, 2, 3, 4, 5}));
  EXPECT_TRUE(frames[0].key);
}

// When the key frame among the kept ones is too old by the time of play, what follows cannot be decoded before a new
// one.
TEST_F(Effect, buffer_us_without_a_key_frame) {
  configure("producer=scripted");
  create({kSize, {"framerate", 200.0}, {"buffer_us", guint32{20000}}}, 8);
  start();
  const auto has_expired = [&] {
    const auto drops = log("drop");
    return std::any_of(drops.begin(), drops.end(), [](const auto &drop) { return drop["reason"] == "expired"; });
  };
  while (!has_expired())
    ASSERT_EQ(sched_yield(), 0);
  ASSERT_TRUE(zel_stream_play(stream_.get(), nullptr, nullptr));
  EXPECT_TRUE(fetch().key);
}

TEST_F(Effect, interactive) {
  create({kSize, {"interactive", true}}, 0);
  start();
  EXPECT_EQ(fetch_failure().code, 13);
}

TEST_F(Effect, socket_blocking) {
  create({kSize, {"socket.blocking", false}}, 0);
  EXPECT_EQ(fetch_failure().code, 13);
  create({kSize, {"interactive", true}, {"socket.blocking", true}});
  start();
  EXPECT_TRUE(fetch().key);
}

TEST_F(Effect, snapshot) {
  create({kSize, {"format", guint32{2}}, {"snapshot", true}});
  for (guint32 i = 0; i < 2; ++i) {
    start();
    EXPECT_EQ(fetch().sequence, i);
    const Failure failure = fetch_failure();
    EXPECT_EQ(failure.code, 5);
    EXPECT_EQ(failure.message, "The snapshot has been delivered");
    EXPECT_TRUE(failure.expected);
  }
}

TEST_F(Effect, segment_duration) {
  const Asked gop = {"gop_length", guint32{5}};
  const auto starts = [&](zel_quad32u limits) {
    return segments(run({kSize, kTenFrames, gop, {"segment.duration", limits}}, 25));
  };
  EXPECT_EQ(starts({0, 900, 0, 0}), (Numbers{0, 10, 20}));
  EXPECT_EQ(starts({1200, 0, 0, 0}), (Numbers{0, 15}));
  EXPECT_EQ(starts({0, 0, 700, 0}), (Numbers{0, 7, 14, 21}));
  EXPECT_EQ(segments(run({kSize, kTenFrames, gop}, 12)), (Numbers{}));
  for (const Seen &seen : run({kSize, kTenFrames, gop, {"segment.duration", zel_quad32u{0, 0, 700, 0}}}, 25)) {
    EXPECT_TRUE(seen.key || !seen.segment_start);
  }
}

// Scripted frames: 24000 bytes a key frame, 4000 the others.
TEST_F(Effect, segment_bytes) {
  configure("pacing=virtual\nproducer=scripted");
  const Asked gop = {"gop_length", guint32{5}};
  const auto starts = [&](zel_quad32u limits) {
    return segments(run({kTenFrames, gop, {"segment.bytes", limits}}, 25));
  };
  EXPECT_EQ(starts({0, 80000, 0, 0}), (Numbers{0, 10, 20}));
  EXPECT_EQ(starts({0, 0, 48000, 0}), (Numbers{0, 6, 12, 18, 24}));
}

}  // namespace
