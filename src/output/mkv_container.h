// The Matroska writer's object: building it, its header and its trailer.
#ifndef ZEL_CLIENT_OUTPUT_MKV_CONTAINER_H
#define ZEL_CLIENT_OUTPUT_MKV_CONTAINER_H

#include <cstdint>
#include <optional>

#include "formats/matroska_writer.h"
#include "zel/zel.h"

/// One Matroska file being written. After finalising it is closed.
struct MkvWriter {
  bool header_written = false;   ///< the header was attempted; it is never tried again
  double framerate = 0;          ///< frames a second, as the stream's info gave it
  formats::MatroskaWriter file;  ///< ready for frames between a header that worked and the trailer

  /// Builds a writer and opens its file. On failure the reason has been printed.
  static std::optional<MkvWriter> open(const char *file_name, std::uint32_t format, std::uint32_t width,
                                       std::uint32_t height, double framerate);
};

/// Writes the container's header at the first call, with the codec configuration at the start of that frame; later
/// calls do nothing and succeed, also when the first failed. `data` is the frame's bytes. A failure has been printed.
bool mkv_write_header(MkvWriter &writer, zel_frame *frame, const std::uint8_t *data);

/// Writes the trailer and closes the file. False when no header was written or writing the trailer failed; the file is
/// closed in every case.
bool mkv_write_trailer(MkvWriter &writer);

#endif
