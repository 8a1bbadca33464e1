// Containers by the names of files.
#include "frames/common/suffix.h"
#include "frames/media/movie.h"

namespace frames {

std::optional<Container> container_named(std::string_view path) {
  if (has_suffix(path, ".mkv")) return Container::kMatroska;
  if (has_suffix(path, ".mp4")) return Container::kMp4;
  return std::nullopt;
}

}  // namespace frames
