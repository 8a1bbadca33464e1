// The two packets that every frame becomes in the Matroska file.
#ifndef ZEL_CLIENT_OUTPUT_MKV_PACKETS_H
#define ZEL_CLIENT_OUTPUT_MKV_PACKETS_H

#include <cstdint>

#include "output/mkv_container.h"

/// The frame period in milliseconds, rounded half up: 33 at 30 frames a second. 0, which players take as "until the
/// next", for a rate without a usable period: zero, negative, not a number, or so small that the period would
/// not fit in 31 bits (below a frame in 24 days).
std::int64_t mkv_packet_duration(double framerate);

/// Writes the frame's bytes as one video packet, without copying them. A failure has been printed.
bool mkv_write_video(MkvWriter &writer, zel_frame *frame, std::uint8_t *data);

/// Writes the frame's time as one cue in the top-left corner that lasts as long as the frame. A failure is not printed.
bool mkv_write_subtitle(MkvWriter &writer, zel_frame *frame);

#endif
