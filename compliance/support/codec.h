// The codecs whose frames are looked into.
#ifndef ZEL_COMPLIANCE_CODEC_H
#define ZEL_COMPLIANCE_CODEC_H

#include <array>
#include <cstddef>
#include <string>

#include "compliance/support/request.h"
#include "formats/stream_format.h"
#include "formats/video_format.h"

namespace compliance {

/// A codec, and how many characters the frame lines have for the types of its frames.
struct CodecRow {
  formats::Codec codec;
  const char *name;
  guint32 format;
  std::size_t columns;
};
inline constexpr std::size_t kAnyColumns = 1000;  // the column follows the first type
inline constexpr std::array kCodecs = {
    CodecRow{formats::Codec::kH264, "h264", formats::kFormatH264, 8},
    CodecRow{formats::Codec::kH265, "h265", formats::kFormatH265, 8},
    CodecRow{formats::Codec::kJpeg, "jpeg", formats::kFormatJpeg, kAnyColumns},
    CodecRow{formats::Codec::kAv1, "av1", formats::kFormatAv1, 9},
};

/// A request for the codec's frames, with key frames among others. A Skip when the library does not offer the codec or
/// the command line asks for another one.
Request request_for(const CodecRow &row);

/// "frame 3 of h264".
std::string which_frame(const CodecRow &row, int index);

}  // namespace compliance

#endif
