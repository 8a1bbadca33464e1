// Buffers: who holds which one, and that none is lost.
#include <algorithm>
#include <array>
#include <cerrno>
#include <set>
#include <string>
#include <vector>

#include "compliance/checks/check.h"
#include "compliance/common/expect.h"
#include "compliance/support/frame.h"
#include "compliance/support/stream.h"

namespace compliance {
namespace {

void check_counts() {
  for (unsigned count = 1; count <= 10; ++count) {
    Stream stream{Request()};
    stream.run(count);
    for (unsigned i = 0; i < 3; ++i)
      stream.hand_back(stream.fetch());
  }
}

void check_handing_back() {
  Stream stream{Request()};
  stream.run(2);
  for (int i = 0; i < 10; ++i) {
    const BufferPtr buffer = stream.fetch();
    zel_frame *frame = frame_of(buffer);
    const std::string which = "the segment flag of frame " + shown(zel().frame_get_sequence_nbr(frame));
    const gboolean segment_start = zel().frame_is_segment_start(frame);
    stream.hand_back(buffer);
    expect_equal(which + " after its buffer was handed back", zel().frame_is_segment_start(frame), segment_start);
  }
}

/// A chunk that was taken, and what it held then.
struct TakenChunk {
  const std::uint8_t *data;
  Bytes bytes;
};

std::vector<TakenChunk> take_chunks(zel_frame *frame) {
  std::vector<TakenChunk> chunks;
  const gsize size = zel().frame_get_size(frame);
  for (gsize taken = 0; taken < size;) {
    const zel_chunk chunk = take_chunk(frame, Take::kPlain);
    if (chunk.size == 0 || chunk.size > size - taken) break;
    const auto *data = static_cast<const std::uint8_t *>(chunk.data);
    if (data != nullptr) chunks.push_back({.data = data, .bytes = Bytes(data, data + chunk.size)});
    taken += chunk.size;
  }
  return chunks;
}

void check_kept_buffer() {
  Stream stream{Request().set("buffer.access", guint32{1})};
  stream.run(3);
  const BufferPtr kept = stream.fetch();
  const std::vector<TakenChunk> chunks = take_chunks(frame_of(kept));
  const guint32 sequence = zel().frame_get_sequence_nbr(frame_of(kept));
  for (int i = 0; i < 10; ++i) {
    const BufferPtr buffer = stream.fetch();
    require(buffer != kept, "a buffer that was not handed back was given out again, expected the others only");
    stream.hand_back(buffer);
  }
  expect_equal("the number of a frame that was kept for 10 others", zel().frame_get_sequence_nbr(frame_of(kept)),
               sequence);
  for (const TakenChunk &chunk : chunks) {
    expect(std::equal(chunk.bytes.begin(), chunk.bytes.end(), chunk.data),
           "the bytes of a frame that was kept for 10 others have changed, expected them as they were");
  }
  stream.hand_back(kept);
}

void check_dropping() {
  Stream stream{Request()};
  stream.run(3);
  (void)stream.fetch();  // released without being handed back, as at a time limit
  for (int i = 0; i < 5; ++i)
    stream.hand_back(stream.fetch());
  const BufferPtr held = stream.fetch();
  stream.stop();
  expect(zel().frame_get_size(frame_of(held)) > 0,
         "the size of a frame that is held while its stream is stopped is 0, expected what it was");
}

void check_release() {
  constexpr unsigned kBuffers = 4;
  std::array<gpointer, kBuffers> alive = {};
  Stream stream{Request()};
  stream.provide(kBuffers);
  for (unsigned i = 0; i < kBuffers; ++i) {
    alive.at(i) = stream.buffers()[i];
    g_object_add_weak_pointer(G_OBJECT(stream.buffers()[i]), &alive.at(i));
  }
  stream.start();
  for (int i = 0; i < 10; ++i) {
    const BufferPtr buffer = stream.fetch();
    (void)take_bytes(frame_of(buffer));
    stream.hand_back(buffer);
  }
  stream.tear_down();
  for (unsigned i = 0; i < kBuffers; ++i) {
    expect(alive.at(i) == nullptr, "buffer " + shown(i + 1) + " of " + shown(kBuffers) +
                                       " stayed when all was released, expected it to go away");
    if (alive.at(i) != nullptr) g_object_remove_weak_pointer(G_OBJECT(alive.at(i)), &alive.at(i));
  }
}

void check_clearing() {
  const Stream stream{Request()};
  ErrorSlot error;
  zel_buffer *buffer = zel().stream_buffer_alloc(stream.get(), nullptr, error.address());
  require(buffer != nullptr, failure_text("zel_stream_buffer_alloc", error, errno) + ", expected a buffer");
  expect(zel().stream_buffer_unref(stream.get(), &buffer, error.address()) != FALSE,
         failure_text("zel_stream_buffer_unref", error, errno) + ", expected it to be done");
  expect(buffer == nullptr, "the pointer is as it was after zel_stream_buffer_unref, expected NULL");
}

void check_ids() {
  constexpr unsigned kBuffers = 5;
  Stream stream{Request()};
  stream.provide(kBuffers);
  std::set<guint32> ids;
  for (zel_buffer *buffer : stream.buffers())
    ids.insert(zel().buffer_get_id(buffer));
  expect_equal("the count of different numbers that " + shown(kBuffers) + " buffers have", ids.size(),
               std::size_t{kBuffers});
  stream.start();
  for (unsigned i = 0; i < kBuffers; ++i) {
    const BufferPtr buffer = stream.fetch();
    const guint32 id = zel().buffer_get_id(frame_of(buffer));
    expect(ids.contains(id), "a filled buffer has the number " + shown(id) + ", expected that of one that was given");
    stream.hand_back(buffer);
  }
}

void check_frame_view() {
  Stream stream{Request()};
  stream.run(2);
  const BufferPtr buffer = stream.fetch();
  // The stream may hold references of its own; the call itself must add none.
  const auto references = [&] { return g_atomic_int_get(&G_OBJECT(buffer.get())->ref_count); };
  const auto before = references();
  zel_frame *frame = frame_of(buffer);
  expect_equal("the count of a buffer's references after zel_buffer_get_frame", references(), before);
  expect(frame == buffer.get(), "a frame is another object than its buffer, expected the same one");
  expect_equal("the capacity of a buffer, asked through its frame,", zel().buffer_get_capacity(frame),
               zel().buffer_get_capacity(buffer.get()));
}

void check_service_buffers() {
  constexpr guint32 kService = 4;
  const Request request = Request().set("buffer.strategy", kService).set("socket.blocking", false);
  Stream stream(request, "buffers of the service's own");
  stream.start();
  for (int i = 0; i < 12; ++i)
    stream.hand_back(stream.fetch_when_readable());
}

}  // namespace

std::vector<Check> buffer_checks() {
  return {
      {.name = "Buffers.Counts",
       .expects = "A stream runs with 1 to 10 buffers, each allocated and enqueued before the next one",
       .relies = "The client provides 10 buffers, fewer with --buffer.count or --frames",
       .run = check_counts},
      {.name = "Buffers.HandingBack",
       .expects = "A frame whose buffer was handed back can be read through the reference that is still held",
       .relies = "The segment flag is read after the buffer was handed back; --segments counts it",
       .run = check_handing_back},
      {.name = "Buffers.Keeping",
       .expects = "A buffer that was not handed back is not filled again",
       .relies = "A frame is written as it was fetched, however long that takes",
       .run = check_kept_buffer},
      {.name = "Buffers.Dropping",
       .expects = "A buffer may be released instead of being handed back, and held while the stream is stopped",
       .relies = "The frame at which --duration ends",
       .run = check_dropping},
      {.name = "Buffers.Release",
       .expects = "Once a stream has ended and all is released, no buffer is left",
       .relies = "Long runs and many runs do not use up the camera's memory",
       .run = check_release},
      {.name = "Buffers.Clearing",
       .expects = "zel_stream_buffer_unref clears the pointer",
       .relies = "The client releases what it provided, once",
       .run = check_clearing},
      {.name = "Buffers.Ids",
       .expects = "Buffers of a stream have numbers of their own and keep them",
       .relies = "The buffer's column under --zel_debug",
       .run = check_ids},
      {.name = "Buffers.FrameView",
       .expects = "A frame is its buffer, and getting it adds no reference",
       .relies = "The client asks frames for their capacity and releases buffers only",
       .run = check_frame_view},
      {.name = "Buffers.Service",
       .expects = "Under the buffer strategy 4 frames come in buffers of the service's own, which are handed back",
       .relies = "--buffer.strategy",
       .run = check_service_buffers},
  };
}

}  // namespace compliance
