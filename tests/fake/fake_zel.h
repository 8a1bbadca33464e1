// An in-process libzel for unit tests: a working zel_map, scripted frames and fetches, a record of every call, failures
// on demand. No thread, no encoder, no socket.
//
// A test links zel-client-core and fake-zel in place of libzel. It begins with fake::reset(), scripts what the stream
// shall deliver, runs the code under test and reads fake::calls().
//
//     fake::reset();
//     fake::queue_frame({.payload = {1, 2, 3}, .key = true, .timestamp = 1000});
//     fake::queue_fetch_error({.code = 13, .message = "nothing yet"});
//     fake::fail("zel_stream_buffer_enqueue", 2, {.message = "no room"});
//     ...
//     EXPECT_EQ(fake::calls("zel_stream_get_buffer").size(), 2u);
//
// A frame that belongs to no stream is made with fake::make_buffer(); a zel_frame is the same pointer as its
// zel_buffer.
#ifndef ZEL_CLIENT_TESTS_FAKE_ZEL_H
#define ZEL_CLIENT_TESTS_FAKE_ZEL_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zel/zel.h"

namespace fake {

/// Drops one GObject reference.
struct Unref {
  void operator()(gpointer object) const { g_object_unref(object); }
};

using MapPtr = std::unique_ptr<zel_map, Unref>;
using BufferPtr = std::unique_ptr<zel_buffer, Unref>;
using StreamPtr = std::unique_ptr<zel_stream, Unref>;

/// Writes settings into a fresh map.
using FillMap = std::function<void(zel_map *)>;

// ---- Frames
// ----------------------------------------------------------------------------------------------------------

/// The frame types that zel_frame_type_get_type() of the fake knows, with the nicks "idr", "i", "p", "b" and "av1-key".
inline constexpr guint32 kTypeIdr = 1, kTypeI = 2, kTypeP = 3, kTypeB = 4, kTypeAv1Key = 10;
/// A type whose nick has 300 characters, all of them x.
inline constexpr guint32 kTypeLongNick = 300;

/// What a frame's buffer holds and what the frame calls answer.
struct Frame {
  std::vector<std::uint8_t> payload = {};  ///< the bytes that chunks point into
  std::vector<gsize> chunks = {};  ///< sizes of the chunks, cut from the payload in order; empty: one of all bytes
  bool contiguous = true;          ///< zel_buffer_is_contiguous; does not change the chunks
  int failing_chunk = -1;  ///< taking the chunk of this index (0 is the first) gives mark G_MININT32 and an error
  int null_chunk = -1;     ///< the chunk of this index has its size but a NULL data pointer
  std::optional<gsize> size = {};      ///< zel_frame_get_size; none: the payload's
  gssize header_size = 0;              ///< zel_frame_get_header_size
  guint32 type = kTypeP;               ///< zel_frame_get_frame_type
  bool key = false;                    ///< zel_frame_is_key
  bool shown = true;                   ///< zel_frame_shown
  bool segment_start = false;          ///< zel_frame_is_segment_start
  guint64 timestamp = 0;               ///< us
  guint64 utc_timestamp = 0;           ///< us
  guint64 custom_timestamp = 0;        ///< us
  guint32 sequence = 0;                ///< zel_frame_get_sequence_nbr
  std::optional<guint32> id = {};      ///< zel_buffer_get_id; none: the buffer's own number
  std::optional<gsize> capacity = {};  ///< zel_buffer_get_capacity; none: the payload's size
  FillMap extra_info = {};             ///< fills the extra-info map; none: empty
};

/// A filled buffer of no stream, for code that takes a frame. Its number is 0.
BufferPtr make_buffer(Frame frame);

/// The first byte of the payload as it lies in the buffer.
const std::uint8_t *payload_of(const zel_buffer *buffer);

/// Fills a buffer anew and sets its chunk cursor back to the start.
void refill(zel_buffer *buffer, Frame frame);

/// Stores any variant under a key, also ones that no setter makes, such as an "empty" of two bytes
/// (g_variant_new_uint16). Takes a floating reference.
void map_set_variant(zel_map *map, const char *key, GVariant *value);

// ---- The stream's script
// ---------------------------------------------------------------------------------------------

/// How a call fails: what it leaves in the error slot and in errno.
struct Failure {
  gint code = 17;  ///< in zel_error_quark()
  std::string message = "scripted failure";
  std::optional<int> cause = {};  ///< errno after the call; none: errno is left alone
  bool expected = false;          ///< what zel_error_is_expected() says afterwards
  bool without_error = false;     ///< fail, but leave the error slot empty
};

/// What the one stream of a test answers. Changed through script() before the code under test runs.
struct Script {
  FillMap info;                  ///< fills zel_stream_get_info's map; none: empty
  FillMap settings;              ///< fills zel_stream_get_settings' map; none: what zel_stream_new was given
  std::optional<gint> fd;        ///< zel_stream_get_fd; none: a descriptor that always polls readable
  gint event_fd = -1;            ///< zel_stream_get_event_fd
  guint32 stream_id = 7;         ///< zel_stream_get_id
  gsize buffer_capacity = 4096;  ///< of what zel_stream_buffer_alloc makes
};

/// Forgets the script, the queues, the scripted failures and the recorded calls. First thing in a test.
void reset();

/// The script of the current test.
Script &script();

/// The next fetch fills the buffer that was enqueued first, or a fresh one when none is enqueued, and delivers it.
/// After the last scripted fetch each further one fails with code 17 "end of script", which is an expected error.
void queue_frame(Frame frame);

/// The next fetch returns NULL in this way.
void queue_fetch_error(Failure failure);

/// The next fetch returns NULL and leaves error slot and errno alone.
void queue_fetch_null();

/// Runs when the fetch that follows in the queue is made, before it answers: raises a signal, changes an option.
void queue_action(std::function<void()> action);

/// The next zel_stream_get_event gives a map filled like this; without any it gives NULL.
void queue_event(FillMap fill);

/// A copy of the settings that the last zel_stream_new was given, or null. Owned by the fake.
const zel_map *requested_settings();

/// Buffers that are enqueued and not fetched again.
std::size_t enqueued_buffers();

// ---- Failures
// --------------------------------------------------------------------------------------------------------

/// Lets the nth use (1 is the first) from now on of a libzel call fail, or every use when nth is 0. It then returns
/// NULL, FALSE or -1 and sets its error. Works for every call that can fail: all zel_stream_* calls but get_id,
/// zel_map_new, zel_frame_take_chunk and zel_frame_take_chunk_ex. zel_stream_get_buffer is better scripted with
/// queue_fetch_error().
void fail(std::string_view call, unsigned nth = 1, Failure failure = {});

// ---- The record
// ------------------------------------------------------------------------------------------------------

/// Every call since reset(), in order, as "name" or "name field=value ...":
///   zel_map_set_uint32 key=width value=640        (pairs 640x480, quads 1,2,3,4, booleans TRUE/FALSE)
///   zel_map_get_boolean key=quiet                 (all getters; contains_va lists key=a key=b)
///   zel_map_copy_value from=a to=b, zel_map_remove_prefix prefix=a., zel_map_merge, zel_map_dump
///   zel_stream_buffer_enqueue buffer=3, zel_stream_buffer_unref buffer=3
///   zel_buffer_get_id buffer=3, zel_frame_get_size buffer=3 (all buffer and frame calls)
///   zel_frame_take_chunk_ex buffer=3 flags=0x80000000
/// and "finalize map", "finalize buffer=3", "finalize stream" when the last reference of an object goes.
const std::vector<std::string> &calls();

/// The recorded calls that begin with a prefix, such as "zel_stream_".
std::vector<std::string> calls(std::string_view prefix);

/// Empties the record only.
void clear_calls();

/// Objects that exist now; a test that expects everything released compares with the values before it.
struct LiveObjects {
  int maps;
  int buffers;
  int streams;
  bool operator==(const LiveObjects &) const = default;
};
LiveObjects live_objects();

}  // namespace fake

#endif
