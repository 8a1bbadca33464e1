// The numbers that libzel gives the formats of its streams.
#ifndef ZEL_FORMATS_STREAM_FORMAT_H
#define ZEL_FORMATS_STREAM_FORMAT_H

#include <cstdint>

namespace formats {

/// Values of zel_format_get_type() that every libzel has, in the setting "format" and in a stream's info. Uncompressed
/// formats have numbers of the library's own.
enum StreamFormat : std::uint32_t {
  kFormatH264 = 0,
  kFormatH265 = 1,
  kFormatJpeg = 2,
  kFormatAv1 = 10,
  kFormatUnknown = UINT32_MAX,  ///< the service does not say
};

}  // namespace formats

#endif
