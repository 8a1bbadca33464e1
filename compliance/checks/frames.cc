// Frames: what they say of themselves, whatever they hold.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "compliance/checks/check.h"
#include "compliance/support/frame.h"
#include "compliance/support/stream.h"

namespace compliance {
namespace {

constexpr unsigned kBuffers = 4;

/// Runs a stream and calls `look` with each of so many frames before it is handed back, up to one that is not as
/// expected.
template <typename Look>
void look_at_frames(const Request &request, int count, Look look) {
  Stream stream(request);
  stream.run(kBuffers);
  for (int i = 0; i < count && !testing::Test::HasFailure(); ++i) {
    const BufferPtr buffer = stream.fetch();
    look(frame_of(buffer));
    stream.hand_back(buffer);
  }
}

void check_capacity() {
  look_at_frames(Request(), 5, [](zel_frame *frame) {
    EXPECT_GT(zel().frame_get_size(frame), 0U) << "the size of a frame";
    EXPECT_LE(zel().frame_get_size(frame), zel().buffer_get_capacity(frame))
        << "the size of a frame, on the left, and the capacity of its buffer";
    EXPECT_GE(zel().frame_get_header_size(frame), 0) << "the size of a frame's codec header";
    EXPECT_LE(static_cast<gsize>(zel().frame_get_header_size(frame)), zel().frame_get_size(frame))
        << "the size of a frame's codec header, on the left, and of the frame";
  });
}

void check_sequence() {
  std::optional<guint32> before;
  look_at_frames(Request(), 10, [&](zel_frame *frame) {
    const guint32 sequence = zel().frame_get_sequence_nbr(frame);
    // Numbers may leave some out and wrap; half of them lie ahead.
    if (before) {
      EXPECT_TRUE(sequence != *before && sequence - *before < 0x80000000U)
          << "sequence number " << sequence << " after " << *before << ", expected a later one";
    }
    before = sequence;
  });
}

/// A frame's age on a clock, as the client computes latencies.
void expect_age(const char *clock, guint64 now, guint64 timestamp) {
  constexpr gint64 kMostUs = 10000000;
  const auto age = static_cast<gint64>(now - timestamp);
  EXPECT_TRUE(age >= 0 && age <= kMostUs)
      << "a frame's time is " << timestamp << ", " << age << " us before now on the " << clock << ", expected 0 to "
      << kMostUs << " us";
}

void check_timestamps() {
  guint64 before = 0;
  look_at_frames(Request(), 10, [&](zel_frame *frame) {
    const guint64 timestamp = zel().frame_get_timestamp(frame);
    EXPECT_GT(timestamp, before) << "a frame's time, on the left, and the time of the one before";
    expect_age("monotonic clock", static_cast<guint64>(g_get_monotonic_time()), timestamp);
    before = timestamp;
  });
}

void check_utc_timestamps() {
  look_at_frames(Request(), 5, [](zel_frame *frame) {
    expect_age("real clock", static_cast<guint64>(g_get_real_time()), zel().frame_get_utc_timestamp(frame));
  });
}

void check_custom_timestamps() {
  look_at_frames(Request(), 3, [](zel_frame *frame) {
    const guint64 timestamp = zel().frame_get_custom_timestamp(frame);
    EXPECT_EQ(zel().frame_get_custom_timestamp(frame), timestamp) << "the custom timestamp, read twice";
  });
}

void check_segment_flags() {
  look_at_frames(Request(), 5, [](zel_frame *frame) {
    const gboolean flag = zel().frame_is_segment_start(frame);
    EXPECT_TRUE(flag == 0 || flag == 1) << "the segment flag is " << flag << ", expected 0 or 1";
  });
}

void check_extra_info() {
  look_at_frames(Request(), 5, [](zel_frame *frame) {
    zel_map *info = zel().frame_get_extra_info(frame);
    ASSERT_NE(info, nullptr) << "of zel_frame_get_extra_info";
    ASSERT_TRUE(G_IS_OBJECT(info)) << "the extra information, expected a GObject";
    const auto references = [&] { return g_atomic_int_get(&G_OBJECT(info)->ref_count); };
    const auto before = references();
    if (zel().frame_get_extra_info(frame) == info) {
      EXPECT_EQ(references(), before) << "references of the extra information after a second call, on the left";
    }
    const VariantPtr empty(zel().map_get_variant(info, "empty", nullptr));
    if (empty != nullptr) {
      EXPECT_EQ(g_variant_get_size(empty.get()), 1U) << "the bytes of \"empty\", on the left";
    }
  });
}

void check_chunk_layout() {
  look_at_frames(Request().set("buffer.access", guint32{1}), 3, [](zel_frame *frame) {
    const zel_chunk chunk = take_chunk(frame, Take::kWithFlags);
    EXPECT_GT(chunk.size, 0U) << "the bytes of a frame's first chunk";
    EXPECT_LE(chunk.size, zel().frame_get_size(frame))
        << "the bytes of a frame's first chunk, on the left, and of the frame";
    EXPECT_NE(chunk.data, nullptr) << "the data of a frame's first chunk";
    if (zel().buffer_is_contiguous(frame) != FALSE) {
      EXPECT_EQ(chunk.size, zel().frame_get_size(frame)) << "the only chunk's bytes, on the left, and the frame's";
      EXPECT_EQ(take_chunk(frame, Take::kWithFlags).size, 0U) << "the chunk after the only one, on the left";
    }
  });
}

/// The frames of `count` fills of one and the same buffer; the first one is left with its cursor where it was.
void check_cursor() {
  Stream stream{Request().set("buffer.access", guint32{1})};
  stream.run(1);
  stream.hand_back(stream.fetch());  // nothing is taken
  {
    const BufferPtr buffer = stream.fetch();
    (void)take_chunk(frame_of(buffer), Take::kPlain);  // a part
    stream.hand_back(buffer);
  }
  for (const Take take : {Take::kPlain, Take::kWithFlags, Take::kPlain}) {
    const BufferPtr buffer = stream.fetch();
    zel_frame *frame = frame_of(buffer);
    EXPECT_EQ(take_bytes(frame, take).size(), zel().frame_get_size(frame))
        << "the bytes of all chunks, on the left, and of the frame, in a buffer that was filled anew";
    for (const Take again : {Take::kPlain, Take::kWithFlags})
      EXPECT_EQ(take_chunk(frame, again).size, 0U) << "the size of a chunk after the last one, on the left";
    stream.hand_back(buffer);
  }
}

}  // namespace

std::vector<Check> frame_checks() {
  return {
      {.name = "Frames.Sizes",
       .expects = "A frame fits into its buffer's capacity, and its codec header into the frame",
       .relies = "The utilization in the statistics, and the sidecar's records",
       .run = check_capacity},
      {.name = "Frames.Sequence",
       .expects = "Sequence numbers go up without repeats",
       .relies = "The frame lines, from which dropped frames are told",
       .run = check_sequence},
      {.name = "Frames.Timestamps",
       .expects = "A frame's time is later than the one before, and at most 10 s old on the monotonic clock",
       .relies = "Distances, latency, --duration, the sidecar and the Matroska file",
       .run = check_timestamps},
      {.name = "Frames.UtcTimestamps",
       .expects = "A frame's wall-clock time is at most 10 s old, in microseconds since 1970",
       .relies = "The latency of the wall clock, and the first and last times in the statistics",
       .run = check_utc_timestamps},
      {.name = "Frames.CustomTimestamps",
       .expects = "A frame's custom timestamp reads the same each time",
       .relies = "--timestamp.type above 1: the client reads it for the frame line and for the statistics",
       .run = check_custom_timestamps},
      {.name = "Frames.SegmentFlags",
       .expects = "The flag of a segment's start is 1 or 0",
       .relies = "--segments adds these numbers up",
       .run = check_segment_flags},
      {.name = "Frames.ExtraInfo",
       .expects = "A frame has a map of extra information that it keeps, in which \"empty\" is a boolean",
       .relies = "--extra_info, and frames that are shown as empty",
       .run = check_extra_info},
      {.name = "Frames.Chunks",
       .expects = "A chunk comes back whole: data, size and mark; a contiguous frame is one chunk",
       .relies = "Every byte that is stored",
       .run = check_chunk_layout},
      {.name = "Frames.Cursor",
       .expects = "The chunks of a frame add up to its size, and begin anew when the buffer is filled anew",
       .relies = "The raw file, which holds every frame whole whatever was done with the one before",
       .run = check_cursor},
  };
}

}  // namespace compliance
