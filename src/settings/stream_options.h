// The stream options: one for every setting that the video service understands.
#ifndef ZEL_CLIENT_SETTINGS_STREAM_OPTIONS_H
#define ZEL_CLIENT_SETTINGS_STREAM_OPTIONS_H

#include <array>

#include "zel/zel.h"

/// How an option's text is converted and stored.
enum class OptionKind {
  kBoolean,   ///< integer, stored as a boolean
  kUnsigned,  ///< integer, stored as its 32 bits
  kDouble,    ///< stored as a double
  kString,    ///< stored as it is; without a value the parser fails
  kEnum,      ///< nick of `enum_type`, stored as its number; without a value the parser fails
  kTriple,    ///< "min,target,max", stored as a quad whose fourth number is 0
};

struct StreamOption {
  const char *key;  ///< setting key and long option name
  char short_name;  ///< one-letter option, 0 for none
  OptionKind kind;
  const char *help;                ///< null for enums: their help is made from the library's nicks
  GType (*enum_type)() = nullptr;  ///< enums only
};

/// In order of registration, which is the order of the help. The service judges the values; the client only passes them
/// on. "horizontal_flip" shares its short name with the client option "meta", which wins; kept so.
// clang-format off
inline constexpr std::array<StreamOption, 70> kStreamOptions = [] {
  using enum OptionKind;
  return std::array<StreamOption, 70>{{
      {"format", 't', kEnum, nullptr, zel_format_get_type},
      {"h264.profile", 'p', kEnum, nullptr, zel_h264_profile_get_type},
      {"h265.profile", 'P', kEnum, nullptr, zel_h265_profile_get_type},
      {"rc.mode", 'r', kEnum, nullptr, zel_rate_control_mode_get_type},
      {"rc.prio", 'R', kEnum, nullptr, zel_rate_control_priority_get_type},
      {"timestamp.type", 'u', kEnum, nullptr, zel_timestamp_get_type},
      {"buffer.access", 'A', kEnum, nullptr, zel_buffer_access_get_type},
      {"buffer.strategy", 'S', kEnum, nullptr, zel_buffer_strategy_get_type},
      {"input", 'i', kUnsigned, "Physical input"},
      {"channel", 0, kUnsigned, "Video channel"},
      {"bitrate", 'b', kUnsigned, "Video bitrate (bps)"},
      {"framerate", 'f', kDouble, "Video framerate"},
      {"dynamic", 'd', kBoolean, "Enable all dynamic properties"},
      {"dynamic.gop", 0, kBoolean, "Enable dynamic gop"},
      {"dynamic.force", 0, kBoolean, "Allow dynamic.gop and lumo.gop_mode"},
      {"dynamic.bitrate", 0, kBoolean, "Enable dynamic bitrate"},
      {"dynamic.framerate", 0, kBoolean, "Enable dynamic framerate"},
      {"dynamic.lumostream", 0, kBoolean, "Enable dynamic lumostream"},
      {"dynamic.compression", 0, kBoolean, "Enable dynamic compression"},
      {"compression", 'c', kUnsigned, "Video compression"},
      {"rotation", 'z', kUnsigned, "Video Rotation"},
      {"horizontal_flip", 'm', kBoolean, "Video Mirroring, horizontal_flip"},
      {"mirror", 0, kBoolean, "Video Mirroring"},
      {"subformat", 'T', kString, "Subformat of video format"},
      {"simd.align", 0, kUnsigned, "SIMD alignment for uncompressed formats"},
      {"gop_length", 'g', kUnsigned, "Video gop length"},
      {"monochrome", 0, kBoolean, "Monochrome"},
      {"buffer.count", 0, kUnsigned, "Buffer Count"},
      {"buffer.device", 0, kUnsigned, "Buffer Device"},
      {"overlays", 'O', kString, "Overlays (off text image application all sync)"},
      {"sign", 0, kBoolean, "Signed Video"},
      {"privacy", 0, kBoolean, "Privacy Masks"},
      {"meta.provider", 0, kString, "Meta provider"},
      {"frame.chunks", 0, kBoolean, "Sparse chunk support"},
      {"buffer_us", 0, kUnsigned, "Buffer microseconds until play"},
      {"ir.palette", 0, kString, "The palette color"},
      {"interactive", 0, kBoolean, "Interactive mode"},
      {"sync.stream_id", 0, kUnsigned, "Id of the other stream to sync with"},
      {"sync.strategy", 'M', kString, "Sync strategy: match or interleave"},
      {"pipeline", 0, kString, "Special stream handling"},
      {"snapshot", 0, kBoolean, "Snapshot (Typically JPEG)"},
      {"square", 0, kUnsigned, "Used for AR 1:1 for non encoded streams"},
      {"layers", 0, kBoolean, "Layered streams (Removable Overlays)"},
      {"yuv.input.width", 0, kUnsigned, "YUV Input Width"},
      {"yuv.input.height", 0, kUnsigned, "YUV Input Height"},
      {"qp.i", 0, kUnsigned, "manual override of qi"},
      {"qp.p", 0, kUnsigned, "manual override of qp"},
      {"qp.b", 0, kUnsigned, "manual override of qb"},
      {"h265.qmap.category", 0, kUnsigned, "Set category for the whole image"},
      {"lumo.strength", 0, kUnsigned, "Lumostream strength"},
      {"lumo.max_gop_length", 0, kUnsigned, "Lumostream max gop length"},
      {"lumo.gop_mode", 0, kUnsigned, "Lumostream gop mode (0 - fixed, 1 - dynamic)"},
      {"lumo.fps_mode", 0, kUnsigned, "Lumostream fps mode (0 - fixed, 1 - dynamic)"},
      {"lumo.skip_mode", 0, kUnsigned, "Lumostream skip mode (0 - drop, 1 - empty)"},
      {"lumo.min_fps_num", 0, kUnsigned, "Lumostream minimum framerate - numerator"},
      {"lumo.min_fps_den", 0, kUnsigned, "Lumostream minimum framerate - denominator"},
      {"lumo.profile", 0, kEnum, nullptr, zel_lumostream_profile_get_type},
      {"lumo.gdr", 0, kEnum, nullptr, zel_lumostream_gdr_get_type},
      {"debug.lumo.sync_type", 0, kUnsigned, "Lumostream sync type (0-No sync, 1-Frame sync)"},
      {"debug.lumo.intra_refresh", 0, kUnsigned, "Lumostream intra mb refresh, 0 = off"},
      {"segment.duration", 0, kTriple, "Segment duration triple '--segment.duration=min,target,max' (0 = no limit)"},
      {"segment.bytes", 0, kTriple, "Segment size triple '--segment.bytes=min,target,max' (0 = no limit)"},
      {"abr.target_bitrate", 0, kUnsigned, "Target Bitrate for ABR (bps)"},
      {"abr.retention_time", 0, kUnsigned, "Retention time in seconds"},
      {"crop.width", 'W', kUnsigned, "Crop width"},
      {"crop.height", 'H', kUnsigned, "Crop height"},
      {"crop.x", 'X', kUnsigned, "Crop x offset"},
      {"crop.y", 'Y', kUnsigned, "Crop y offset"},
      {"SAR", 0, kString, "Used by encoders for JPEG (square)"},
      {"image.fit", 0, kString, "Keep AR by clipping or shrinking (crop scale)"},
  }};
}();
// clang-format on

/// Registers every option of the table with the option context.
void register_stream_options();

#endif
