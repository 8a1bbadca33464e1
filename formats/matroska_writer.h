// Writing a Matroska file as the client does: coded frames, unchanged, on a video track, and each frame's time as the
// text of a cue on a WebVTT track.
//
// open() creates the file, which is empty until write_header() has the codec configuration from the first frame. Every
// frame is then wrap_frame(), write_frame() and write_cue(), in the order of their times; close() writes the trailer. A
// cluster goes to the file when it is complete, so that it survives a crash (docs/matroska-output.md).
//
// Times in the file are milliseconds, and absolute: a recording does not begin at zero.
#ifndef ZEL_FORMATS_MATROSKA_WRITER_H
#define ZEL_FORMATS_MATROSKA_WRITER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "formats/video_format.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace formats {

/// What an operation of the writer could not do.
enum class MatroskaFailure : std::uint8_t {
  kNone,
  kPacket,
  kContext,
  kVideoStream,
  kCodec,  ///< not one that Matroska takes
  kSubtitleStream,
  kOpen,
  kExtradata,  ///< memory is exhausted, or more bytes than an int counts
  kHeader,
  kBuffer,  ///< as kExtradata
  kFrame,
  kCue,
  kTrailer,
};

/// The failure in words, without file name, number or full stop: "Could not open output file". Empty for kNone.
const char *matroska_failure_text(MatroskaFailure failure);

/// Bytes at the start of the first frame that configure the codec: its `header_size` bytes of parameter sets, or all of
/// a frame with fewer than 3 of them; never more than the frame has.
std::size_t matroska_extradata_size(std::ptrdiff_t header_size, std::size_t frame_size);

/// One file. Destroying the writer closes the file without a trailer.
class MatroskaWriter {
 public:
  /// Creates or truncates the file. `width` and `height` are pixels. Fails without a codec as with one that Matroska
  /// does not take. Once for each writer; after a failure it is only good for being destroyed.
  MatroskaFailure open(const char *file_name, std::optional<Codec> codec, std::uint32_t width, std::uint32_t height);

  /// Writes the header with a copy of the codec configuration. Once for each file; fails when the file is closed.
  MatroskaFailure write_header(const std::uint8_t *extradata, std::size_t size);

  /// Between a header that was taken and the trailer: the only time at which frames and cues may be written.
  bool is_ready() const { return ready_; }

  /// Prepares the frame's packet around its bytes, which are not copied and have to stay until write_frame() is done.
  MatroskaFailure wrap_frame(std::uint8_t *data, std::size_t size);

  /// Writes the frame that was wrapped. `duration_ms` is of use to players for the last frame; 0: unknown.
  MatroskaFailure write_frame(std::int64_t time_us, std::int64_t duration_ms, bool key);

  /// Writes the frame's time as a cue in the top-left corner; shown for `duration_ms`, until the next one if 0.
  MatroskaFailure write_cue(std::int64_t time_us, std::int64_t duration_ms);

  /// Writes the trailer, if there is a header, and closes the file in every case. Fails without a header, when the
  /// trailer is refused, and when called again.
  MatroskaFailure close();

  /// libavformat's negative number for the operation that failed last; 0 when it was not asked.
  int av_error() const { return av_error_; }

  /// libavformat's view of the file, the video track first and the cues second; null when the file is closed.
  const AVFormatContext *context() const { return context_.get(); }

 private:
  /// Closes the context's file too; writes no trailer.
  struct FreeContext {
    void operator()(AVFormatContext *context) const;
  };
  struct FreePacket {
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
  };

  MatroskaFailure add_streams(std::optional<Codec> codec, std::uint32_t width, std::uint32_t height);
  bool set_extradata(const std::uint8_t *data, std::size_t size);
  void empty_packet();
  void place(const AVStream *stream, std::int64_t time_us, std::int64_t duration_ms);
  bool write_packet();
  bool succeeds(int result);

  std::unique_ptr<AVFormatContext, FreeContext> context_;
  std::unique_ptr<AVPacket, FreePacket> packet_;  ///< used for every frame and cue
  AVStream *video_ = nullptr;                     ///< first stream of the context, which owns it
  AVStream *subtitle_ = nullptr;                  ///< second stream of the context, which owns it
  int av_error_ = 0;
  bool ready_ = false;
};

}  // namespace formats

#endif
