// The packets of a file's video track, and of its track of times.
#ifndef ZEL_FORMATS_CAPTURE_DEMUXER_H
#define ZEL_FORMATS_CAPTURE_DEMUXER_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "formats/capture/av.h"
#include "formats/capture/capture.h"
#include "formats/capture/file.h"

namespace formats {

/// Opens a file, or the parts of a raw stream as one, with libavformat. No other file is ever opened, whatever the
/// bytes say. All failures throw Unusable.
class Demuxer {
 public:
  /// `name` is for messages. `format` is FFmpeg's name of the demuxer; null: it finds out.
  Demuxer(std::string name, std::vector<Part> parts, const char *format);

  /// Reads the next packet of the video track or of the first subtitle track; false at the end. What cannot be read any
  /// further counts as the end: a file that was cut off has its packets up to there.
  bool next(AVPacket *packet);

  /// The one video track.
  const AVStream *video() const { return video_; }
  bool is_video(const AVPacket *packet) const { return packet->stream_index == video_->index; }
  /// The byte behind the packets that were read.
  std::uint64_t place() const { return static_cast<std::uint64_t>(avio_tell(io_.get())); }
  /// FFmpeg's name of the format, such as "matroska,webm".
  const char *format_name() const { return input_->iformat->name; }

 private:
  static int read_bytes(void *self, std::uint8_t *bytes, int count);
  static std::int64_t seek_bytes(void *self, std::int64_t offset, int whence);
  void choose_tracks();

  std::string name_;
  std::vector<Part> parts_;
  std::optional<File> file_;  ///< the part that was read last
  std::size_t open_ = 0;      ///< its index
  std::uint64_t place_ = 0;   ///< of the next byte, over all parts
  IoPtr io_;
  InputPtr input_;
  AVStream *video_ = nullptr;
};

}  // namespace formats

#endif
