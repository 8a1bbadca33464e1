// C library and FFmpeg calls that stand in the test executable before the real ones: they fail on demand, and tell what
// the client gave to the muxer.
#ifndef ZEL_CLIENT_TESTS_INTERPOSED_H
#define ZEL_CLIENT_TESTS_INTERPOSED_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace interposed {

/// Forgets planned failures, recorded packets and the file mode. First thing in a test.
void reset();

/// Lets the nth call (1 is the next) fail: av_packet_alloc, avformat_alloc_output_context2, avformat_new_stream,
/// av_mallocz, av_buffer_create, av_new_packet, av_packet_new_side_data, av_write_frame, snprintf.
void fail(std::string_view call, unsigned nth = 1);

/// Files that are opened from now on have no stdio buffer, so that writing itself meets the full disk.
void open_unbuffered();

/// What av_write_frame was given.
struct Packet {
  int stream;
  std::int64_t pts;
  std::int64_t dts;
  std::int64_t duration;
  int flags;
  const std::uint8_t *data;
  int size;
  std::string bytes;
  std::string settings;  ///< side data of a WebVTT cue
};

/// Every packet since reset(), in order.
const std::vector<Packet> &packets();

/// The last options that avformat_write_header was given, as "key=value", several joined with a blank.
const std::string &header_options();

}  // namespace interposed

#endif
