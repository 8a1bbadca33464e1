// Writing an MP4 file with one video track whose times are microseconds.
#ifndef ZEL_FRAMES_MEDIA_MP4_WRITER_H
#define ZEL_FRAMES_MEDIA_MP4_WRITER_H

#include <cstdint>
#include <exception>
#include <span>
#include <string>
#include <vector>

#include "formats/video_format.h"
#include "frames/common/output_file.h"
#include "frames/media/av.h"

namespace frames {

/// The file's times are those it is given; it has no edit list. All failures throw Unusable and name the file.
class Mp4Writer {
 public:
  /// Writes the start of the file. `extradata`: the codec's parameter sets as a raw stream has them. `file` must
  /// outlive the writer and be seekable.
  Mp4Writer(OutputFile &file, formats::Codec codec, std::uint32_t width, std::uint32_t height,
            std::span<const std::uint8_t> extradata);

  /// Writes a frame with its bytes as a raw stream has them. `time_us`: from 0, above the one before by less than 2^31.
  void write(std::span<const std::uint8_t> bytes, std::int64_t time_us, std::int64_t duration_us, bool is_key);

  /// Writes the index. The file is complete then.
  void finish();

 private:
  struct FreeOutput {
    void operator()(AVFormatContext *context) const { avformat_free_context(context); }
  };

  void add_track(formats::Codec codec, std::uint32_t width, std::uint32_t height,
                 std::span<const std::uint8_t> extradata);
  void write_header();
  void require(int result) const;
  int put(std::span<const std::uint8_t> bytes);
  std::int64_t seek(std::int64_t offset, int whence) const;

  OutputFile &file_;
  IoPtr io_;
  std::unique_ptr<AVFormatContext, FreeOutput> context_;
  PacketPtr packet_;
  std::int64_t decoded_us_ = 0;  ///< decoding time of the frame before
  std::exception_ptr failure_;   ///< what writing to the file threw inside libavformat
};

}  // namespace frames

#endif
