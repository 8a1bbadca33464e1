// The packets that a frame becomes, as the muxer gets them.
#include "output/mkv_packets.h"

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "mkv_fixture.h"

namespace {

using interposed::Packet;

class MkvPacketsTest : public MkvTest {
 protected:
  /// The packets of one frame in a new file.
  std::vector<Packet> packets_of(fake::Frame frame, double framerate = 30) {
    interposed::reset();
    EXPECT_TRUE(create(kJpeg, framerate));
    EXPECT_TRUE(write(std::move(frame))) << slot_.take();
    EXPECT_EQ(interposed::packets().size(), 2u);
    return interposed::packets();
  }
};

constexpr const char *kNoSubtitle = "zel-error-quark/17: Failed writing MKV subtitle";

// Catches a frame period that is not rounded half up, and rates whose period is no number of milliseconds.
TEST(MkvPacketDuration, RoundsHalfUp) {
  EXPECT_EQ(mkv_packet_duration(30), 33);
  EXPECT_EQ(mkv_packet_duration(25), 40);
  EXPECT_EQ(mkv_packet_duration(29.97), 33);
  EXPECT_EQ(mkv_packet_duration(60), 17);
  EXPECT_EQ(mkv_packet_duration(0.5), 2000);
  EXPECT_EQ(mkv_packet_duration(1), 1000);
  EXPECT_EQ(mkv_packet_duration(400), 3);   // 2.5
  EXPECT_EQ(mkv_packet_duration(2000), 1);  // 0.5
  EXPECT_EQ(mkv_packet_duration(2001), 0);
  EXPECT_EQ(mkv_packet_duration(1e300), 0);
  EXPECT_EQ(mkv_packet_duration(1e-5), 100'000'000);
}

// Catches undefined conversions: no rate, a negative one, none that is a number, one below a frame in 24 days.
TEST(MkvPacketDuration, NoPeriodIsZero) {
  EXPECT_EQ(mkv_packet_duration(0.0), 0);
  EXPECT_EQ(mkv_packet_duration(-0.0), 0);
  EXPECT_EQ(mkv_packet_duration(-30), 0);
  EXPECT_EQ(mkv_packet_duration(std::nan("")), 0);
  EXPECT_EQ(mkv_packet_duration(std::numeric_limits<double>::infinity()), 0);
  EXPECT_EQ(mkv_packet_duration(-std::numeric_limits<double>::infinity()), 0);
  EXPECT_EQ(mkv_packet_duration(std::numeric_limits<double>::denorm_min()), 0);
  EXPECT_EQ(mkv_packet_duration(1e-10), 0);
}

// Catches a copy of a contiguous frame's bytes anywhere between the library and the muxer.
TEST_F(MkvPacketsTest, ContiguousBytesReachTheMuxerUncopied) {
  ASSERT_TRUE(create());
  const fake::BufferPtr buffer = fake::make_buffer({.payload = std::vector<std::uint8_t>(300'000, 0x55)});
  ASSERT_TRUE(mkv_write_frame(buffer.get(), slot_.address()));
  EXPECT_EQ(interposed::packets().at(0).data, fake::payload_of(buffer.get()));
  EXPECT_EQ(interposed::packets().at(0).size, 300'000);
  EXPECT_EQ(fake::payload_of(buffer.get())[0], 0x55);
}

// Catches a gathered frame that reaches the muxer in pieces.
TEST_F(MkvPacketsTest, ChunksReachTheMuxerAsOne) {
  const Packet video = packets_of({.payload = {'a', 'b', 'c', 'd'}, .chunks = {1, 3}, .contiguous = false}).at(0);
  EXPECT_EQ(video.bytes, "abcd");
}

// Catches wrong times, streams or order: the frame first, then its cue, both at the same time for as long.
TEST_F(MkvPacketsTest, FrameAndCue) {
  const std::vector<Packet> packets = packets_of(frame_at(3'723'000'001), 25);
  const Packet &video = packets[0];
  EXPECT_EQ(video.stream, 0);
  EXPECT_EQ(video.pts, 3'723'000);
  EXPECT_EQ(video.dts, 3'723'000);
  EXPECT_EQ(video.duration, 40);
  EXPECT_EQ(video.settings, "");
  const Packet &cue = packets[1];
  EXPECT_EQ(cue.stream, 1);
  EXPECT_EQ(cue.pts, 3'723'000);
  EXPECT_EQ(cue.dts, 3'723'000);
  EXPECT_EQ(cue.duration, 40);
  EXPECT_EQ(cue.bytes, "01:02:03.000001");
  EXPECT_EQ(cue.settings, "line:1% position:0% align:start");
  EXPECT_EQ(cue.flags, 0);
}

// Catches times that are cut instead of rounded to the nearest millisecond, and lost signs.
TEST_F(MkvPacketsTest, TimesAreRescaled) {
  EXPECT_EQ(packets_of(frame_at(1'499)).at(0).pts, 1);
  EXPECT_EQ(packets_of(frame_at(1'500)).at(0).pts, 2);
  EXPECT_EQ(packets_of(frame_at(1'700'000'000'123'456)).at(0).pts, 1'700'000'000'123);
  const std::vector<Packet> negative = packets_of(frame_at(static_cast<guint64>(-3'000'000)));
  EXPECT_EQ(negative.at(0).pts, -3'000);
  EXPECT_EQ(negative.at(1).bytes, "-00:00:03.000000");

  ASSERT_TRUE(create());
  interposed::reset();
  ASSERT_TRUE(write(frame_at(5'000'000)));
  ASSERT_TRUE(write(frame_at(6'000'000)));
  EXPECT_EQ(interposed::packets().at(2).pts - interposed::packets().at(0).pts, 1000);
}

// Catches undefined arithmetic on times at the ends of the range, and a missing cue text.
TEST_F(MkvPacketsTest, TimesAtTheEnds) {
  const std::vector<Packet> largest = packets_of(frame_at(G_MAXINT64));
  EXPECT_EQ(largest.at(0).pts, 9'223'372'036'854'776);
  EXPECT_EQ(largest.at(1).bytes, "2562047788:00:54.775807");
  EXPECT_TRUE(finalize());
  const std::vector<Packet> smallest = packets_of(frame_at(guint64{1} << 63));
  EXPECT_EQ(smallest.at(0).pts, -9'223'372'036'854'776);
  EXPECT_EQ(smallest.at(1).bytes, "-2562047788:00:54.775808");
  EXPECT_TRUE(finalize());
}

// Catches the key flag taken from anything but the library, and flags that stay from the frame before.
TEST_F(MkvPacketsTest, KeyFlag) {
  ASSERT_TRUE(create());
  ASSERT_TRUE(write({.payload = {1, 2, 3}, .type = fake::kTypeIdr, .key = false, .timestamp = 0}));
  ASSERT_TRUE(write({.payload = {1, 2, 3}, .type = fake::kTypeP, .key = true, .timestamp = 1000}));
  ASSERT_TRUE(write({.payload = {1, 2, 3}, .key = false, .timestamp = 2000}));
  std::vector<int> flags;
  for (const Packet &packet : interposed::packets())
    flags.push_back(packet.flags);
  EXPECT_EQ(flags, (std::vector<int>{0, 0, AV_PKT_FLAG_KEY, 0, 0, 0}));
}

// Catches an empty frame that crashes the writer or the muxer.
TEST_F(MkvPacketsTest, EmptyFrames) {
  ASSERT_TRUE(create());
  ASSERT_TRUE(write({.contiguous = false, .timestamp = 0}));
  ASSERT_TRUE(write({.contiguous = false, .timestamp = 1000}));
  EXPECT_EQ(interposed::packets().at(0).size, 0);
  EXPECT_TRUE(finalize());
}

// Catches a frame whose size an int cannot hold.
TEST_F(MkvPacketsTest, FrameTooLargeForAPacket) {
  ASSERT_TRUE(create());
  ASSERT_TRUE(write(frame_at(0)));
  for (const gsize size : {gsize{std::numeric_limits<int>::max()}, gsize{G_MAXUINT32}, gsize{G_MAXSIZE}}) {
    CapturedOutput errors(stderr);
    fake::Frame frame = frame_at(1000);
    frame.size = size;
    EXPECT_FALSE(write(frame));
    EXPECT_EQ(errors.take(), "error: Could not create AVBufferRef\n");
    EXPECT_EQ(slot_.take(), kNoFrame);
  }
  EXPECT_TRUE(finalize());
}

// Catches the failures of single steps: their lines, their messages, and a leak of what was built before them.
TEST_F(MkvPacketsTest, EveryStepCanFail) {
  const struct {
    const char *call;
    unsigned nth;
    const char *line;
    const char *error;
  } steps[] = {
      {"av_buffer_create", 1, "error: Could not create AVBufferRef\n", kNoFrame},
      {"av_write_frame", 1, "error: Could not write frame\n", kNoFrame},
      {"av_new_packet", 1, "", kNoSubtitle},
      {"av_write_frame", 2, "", kNoSubtitle},
  };
  for (const auto &step : steps) {
    ASSERT_TRUE(create());
    ASSERT_TRUE(write(frame_at(0)));
    CapturedOutput errors(stderr);
    interposed::fail(step.call, step.nth);
    EXPECT_FALSE(write(frame_at(1000)));
    EXPECT_EQ(errors.take(), step.line);
    EXPECT_EQ(slot_.take(), step.error);
    EXPECT_TRUE(write(frame_at(2000))) << "the writer is of use again";
    EXPECT_TRUE(finalize());
  }
}

// Catches a cue that is lost, or an error, when only its settings cannot be attached.
TEST_F(MkvPacketsTest, CueWithoutSettings) {
  ASSERT_TRUE(create());
  ASSERT_TRUE(write(frame_at(0)));
  interposed::fail("av_packet_new_side_data");
  ASSERT_TRUE(write(frame_at(1'000'000)));
  EXPECT_EQ(interposed::packets().at(3).bytes, "00:00:01.000000");
  EXPECT_EQ(interposed::packets().at(3).settings, "");
  EXPECT_EQ(slot_.take(), "none");
}

// Catches packets before the writer is there, and bytes that cannot be had taken for a frame.
TEST_F(MkvPacketsTest, NoWriterAndNoBytes) {
  EXPECT_FALSE(write(frame_at(0)));
  EXPECT_EQ(slot_.take(), "zel-error-quark/3: MKV writer not initialized");
  EXPECT_TRUE(fake::calls("zel_frame_take_chunk").empty());

  ASSERT_TRUE(create());
  fake::fail("zel_frame_take_chunk", 1, {.code = 21, .message = "no bytes"});
  EXPECT_FALSE(write(frame_at(0)));
  EXPECT_EQ(slot_.take(), "zel-error-quark/21: no bytes");
  EXPECT_FALSE(write({.contiguous = false, .size = G_MAXSIZE}));
  EXPECT_EQ(slot_.take(), "zel-error-quark/11: Out of memory");
  EXPECT_EQ(file(), "");
}

// Catches a failure without an error, which would end a run silently and well: memory that the client may not read.
TEST_F(MkvPacketsTest, NoDataPointer) {
  ASSERT_TRUE(create());
  fake::Frame frame = frame_at(0);
  frame.null_chunk = 0;
  CapturedOutput errors(stderr);
  EXPECT_FALSE(write(frame));
  EXPECT_EQ(slot_.take(), kNoFrame);
  EXPECT_FALSE(mkv_write_frame(fake::make_buffer(frame).get(), nullptr));
  EXPECT_EQ(errors.take(), "");
  EXPECT_EQ(file(), "");
  EXPECT_TRUE(write(frame_at(1000)));
  EXPECT_TRUE(finalize());
}

// Catches a frame whose time goes back, which the muxer refuses, taken for written.
TEST_F(MkvPacketsTest, TimeGoesBack) {
  ASSERT_TRUE(create());
  ASSERT_TRUE(write(frame_at(5'000'000)));
  CapturedOutput errors(stderr);
  EXPECT_FALSE(write(frame_at(4'000'000)));
  EXPECT_EQ(errors.take(), "error: Could not write frame\n");
  EXPECT_EQ(slot_.take(), kNoFrame);
  EXPECT_TRUE(finalize());
}

}  // namespace
