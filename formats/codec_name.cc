// The names of codecs.
#include <algorithm>
#include <array>

#include "formats/video_format.h"

namespace formats {
namespace {

/// In the order of Codec.
constexpr std::array<std::string_view, 8> kNames = {"h264", "h265", "jpeg", "av1", "nv12", "i420", "gray", "rgb"};

}  // namespace

std::string_view codec_name(Codec codec) {
  return kNames[static_cast<std::size_t>(codec)];
}

std::optional<Codec> codec_named(std::string_view name) {
  const auto *found = std::find(kNames.begin(), kNames.end(), name);
  return found != kNames.end() ? std::optional(static_cast<Codec>(found - kNames.begin())) : std::nullopt;
}

}  // namespace formats
