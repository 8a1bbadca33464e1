// The numbers of the formats that the client tells apart.
#ifndef ZEL_CLIENT_COMMON_STREAM_FORMAT_H
#define ZEL_CLIENT_COMMON_STREAM_FORMAT_H

#include <cstdint>

/// Values of zel_format_get_type(), in the setting "format" and in a stream's info. The library has more, which the
/// client only passes on.
enum StreamFormat : std::uint32_t {
  kFormatH264 = 0,
  kFormatH265 = 1,
  kFormatJpeg = 2,
  kFormatAv1 = 10,
  kFormatUnknown = UINT32_MAX,  ///< the service does not say
};

#endif
