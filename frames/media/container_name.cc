// Containers by the names of files.
#include "frames/media/movie.h"

namespace frames {

std::optional<Container> container_named(std::string_view path) {
  if (path.ends_with(".mkv")) return Container::kMatroska;
  if (path.ends_with(".mp4")) return Container::kMp4;
  return std::nullopt;
}

}  // namespace frames
