// Frames into a playable file, with their own times.
#ifndef ZEL_FRAMES_MEDIA_MOVIE_H
#define ZEL_FRAMES_MEDIA_MOVIE_H

#include <cstdint>
#include <optional>
#include <string_view>

#include "frames/common/output_file.h"
#include "frames/model/capture.h"
#include "frames/model/frame_range.h"

namespace frames {

enum class Container : std::uint8_t { kMatroska, kMp4 };

/// The container that a file's name asks for by ".mkv" or ".mp4"; none for any other name.
std::optional<Container> container_named(std::string_view path);

/// Writes the range, which is not empty, and completes the file but does not publish it. Returns the frames' bytes.
/// Matroska has a cue for each frame and absolute times, as the client writes it. MP4 begins at 0; the last frame
/// lasts as long as the nominal distance. Throws Unusable, with the frame's number, for what the container cannot hold.
std::uint64_t write_movie(Capture &capture, const FrameRange &range, Container container, OutputFile &file);

}  // namespace frames

#endif
