// The Matroska writer's object: building it, its header and its trailer.
#ifndef ZEL_CLIENT_OUTPUT_MKV_CONTAINER_H
#define ZEL_CLIENT_OUTPUT_MKV_CONTAINER_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "zel/zel.h"

/// Bytes of the largest block that libavcodec takes: it counts them in an int, and the padding comes on top.
inline constexpr std::size_t kLargestAvBlock = std::numeric_limits<int>::max() - AV_INPUT_BUFFER_PADDING_SIZE;

/// Closes the context's file and frees it; writes no trailer.
struct FreeFormatContext {
  void operator()(AVFormatContext *context) const;
};

struct FreePacket {
  void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};

/// One Matroska file being written. After a failed finalising it has neither context nor packet nor streams.
struct MkvWriter {
  bool header_written = false;  ///< the header was attempted; it is never tried again
  double framerate = 0;         ///< frames a second, as the stream's info gave it
  std::unique_ptr<AVFormatContext, FreeFormatContext> context;
  std::unique_ptr<AVPacket, FreePacket> packet;  ///< used for every video and subtitle packet
  AVStream *video = nullptr;                     ///< first stream of the context, which owns it
  AVStream *subtitle = nullptr;                  ///< second stream of the context, which owns it
  bool muxing = false;  ///< between a header that worked and the trailer: libavformat may be given packets

  /// Builds a writer and opens its file. On failure the reason has been printed.
  static std::optional<MkvWriter> open(const char *file_name, std::uint32_t format, std::uint32_t width,
                                       std::uint32_t height, double framerate);
};

/// Writes the container's header at the first call, with the codec configuration at the start of that frame; later
/// calls do nothing and succeed, also when the first failed. `data` is the frame's bytes. A failure has been printed.
bool mkv_write_header(MkvWriter &writer, zel_frame *frame, const std::uint8_t *data);

/// Writes the trailer and closes the file. False when no header was written or writing the trailer failed. In every
/// case the writer is left without context and packet.
bool mkv_write_trailer(MkvWriter &writer);

#endif
