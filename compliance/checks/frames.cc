// Frames: what they say of themselves, whatever they hold.
#include <optional>
#include <string>

#include "compliance/checks/check.h"
#include "compliance/common/expect.h"
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
  for (int i = 0; i < count && !has_findings(); ++i) {
    const BufferPtr buffer = stream.fetch();
    look(frame_of(buffer));
    stream.hand_back(buffer);
  }
}

/// A finding "WHAT is SEEN, expected LIMIT at most".
template <typename Number>
void expect_at_most(const std::string &what, Number seen, Number limit) {
  expect(seen <= limit, what + " is " + shown(seen) + ", expected " + shown(limit) + " at most");
}

void check_capacity() {
  look_at_frames(Request(), 5, [](zel_frame *frame) {
    const gsize size = zel().frame_get_size(frame);
    const gssize header_size = zel().frame_get_header_size(frame);
    expect(size > 0, "the size of a frame is 0, expected some bytes");
    expect_at_most("the size of a frame", size, zel().buffer_get_capacity(frame));
    expect(header_size >= 0, "the header size of a frame is " + shown(header_size) + ", expected no negative one");
    expect_at_most("the header size of a frame", header_size, static_cast<gssize>(size));
  });
}

void check_sequence() {
  std::optional<guint32> before;
  look_at_frames(Request(), 10, [&](zel_frame *frame) {
    const guint32 sequence = zel().frame_get_sequence_nbr(frame);
    // Numbers may leave some out and wrap; half of them lie ahead.
    expect(
        !before || (sequence != *before && sequence - *before < 0x80000000U),
        "the sequence number after " + shown(before.value_or(0)) + " is " + shown(sequence) + ", expected a later one");
    before = sequence;
  });
}

/// A frame's age on a clock, as the client computes latencies.
void expect_age(const char *clock, guint64 now, guint64 timestamp) {
  constexpr gint64 kMostUs = 10000000;
  const auto age = static_cast<gint64>(now - timestamp);
  expect(age >= 0 && age <= kMostUs, "a frame's time is " + shown(timestamp) + ", " + shown(age) +
                                         " us before now on the " + clock + ", expected 0 to " + shown(kMostUs) +
                                         " us");
}

void check_timestamps() {
  guint64 before = 0;
  look_at_frames(Request(), 10, [&](zel_frame *frame) {
    const guint64 timestamp = zel().frame_get_timestamp(frame);
    expect(timestamp > before,
           "the time of the frame after " + shown(before) + " is " + shown(timestamp) + ", expected a later one");
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
    expect_equal("a frame's custom timestamp, read again,", zel().frame_get_custom_timestamp(frame), timestamp);
  });
}

void check_segment_flags() {
  look_at_frames(Request(), 5, [](zel_frame *frame) {
    const gboolean flag = zel().frame_is_segment_start(frame);
    expect(flag == 0 || flag == 1, "the segment flag of a frame is " + shown(flag) + ", expected 0 or 1");
  });
}

void check_extra_info() {
  look_at_frames(Request(), 5, [](zel_frame *frame) {
    zel_map *info = zel().frame_get_extra_info(frame);
    require(info != nullptr, "zel_frame_get_extra_info gave NULL, expected a map");
    require(G_IS_OBJECT(info), "zel_frame_get_extra_info gave something else, expected a GObject");
    const auto references = [&] { return g_atomic_int_get(&G_OBJECT(info)->ref_count); };
    const auto before = references();
    if (zel().frame_get_extra_info(frame) == info) {
      expect_equal("the count of references of a frame's extra information, asked for again,", references(), before);
    }
    const VariantPtr empty(zel().map_get_variant(info, "empty", nullptr));
    if (empty != nullptr) {
      expect_equal("the count of bytes of \"empty\"", g_variant_get_size(empty.get()), gsize{1});
    }
  });
}

void check_chunk_layout() {
  look_at_frames(Request().set("buffer.access", guint32{1}), 3, [](zel_frame *frame) {
    const gsize size = zel().frame_get_size(frame);
    const zel_chunk chunk = take_chunk(frame, Take::kWithFlags);
    expect(chunk.size > 0, "the size of a frame's first chunk is 0, expected some bytes");
    expect_at_most("the size of a frame's first chunk", chunk.size, size);
    expect(chunk.data != nullptr, "the data of a frame's first chunk is NULL, expected some");
    if (zel().buffer_is_contiguous(frame) != FALSE) {
      expect_equal("the size of a contiguous frame's chunk", chunk.size, size);
      expect_equal("the size of a chunk after a contiguous frame's only one", take_chunk(frame, Take::kWithFlags).size,
                   gsize{0});
    }
  });
}

/// The frames of several fills of one and the same buffer; the first one is left with its cursor where it was.
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
    expect_equal("the count of bytes in all chunks of a frame, in a buffer that was filled anew,",
                 take_bytes(frame, take).size(), zel().frame_get_size(frame));
    for (const Take again : {Take::kPlain, Take::kWithFlags})
      expect_equal("the size of a chunk after the last one", take_chunk(frame, again).size, gsize{0});
    stream.hand_back(buffer);
  }
}

/// A buffer access without bit 0; a Skip when the library has none.
guint32 access_without_reading() {
  const EnumClassPtr accesses = enum_class(zel().buffer_access_get_type());
  for (guint i = 0; accesses != nullptr && i < accesses->n_values; ++i) {
    const auto number = static_cast<guint32>(accesses->values[i].value);
    if ((number & 1U) == 0) return number;
  }
  throw Skip("every buffer access has bit 0");
}

void check_unread_frames() {
  const guint32 access = access_without_reading();
  Stream stream(Request().set("buffer.access", access), "the buffer access " + shown(access));
  stream.run(2);
  for (int i = 0; i < 3; ++i) {
    const BufferPtr buffer = stream.fetch();
    zel_frame *frame = frame_of(buffer);
    const gsize most = zel().frame_get_size(frame) + 1;
    gsize chunks = 0;
    while (chunks <= most && take_chunk(frame, Take::kWithFlags).size != 0)
      ++chunks;
    expect(chunks <= most, "a frame has more chunks than bytes, expected one of size 0 at its end");
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
      {.name = "Frames.Unread",
       .expects = "Without access to a frame's data its chunks come to an end all the same",
       .relies = "--buffer.access without bit 0: the client goes through the chunks and stores nothing",
       .run = check_unread_frames},
  };
}

}  // namespace compliance
