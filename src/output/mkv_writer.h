// The Matroska writer: the frames of the stream, unchanged, on a video track, and each frame's time on a WebVTT track.
//
// There is one writer a process, held in a slot. A run creates it, writes every frame and finalises it:
//
//     mkv_create       builds the writer and opens the file, which is empty until the first frame
//     mkv_write_frame  the first frame gives the codec configuration and the container's header; every frame then
//                      becomes a video packet and a subtitle cue that lasts as long as the frame is shown
//     mkv_finalize     writes the trailer (index and duration)
//
// A recording survives a crash up to its last complete cluster: see docs/matroska-output.md.
//
// The operations return false on failure and leave an error of the library's domain in the slot for errors, which may
// be null. A failure of FFmpeg has been printed before as a line beginning "error: " on standard error.
#ifndef ZEL_CLIENT_OUTPUT_MKV_WRITER_H
#define ZEL_CLIENT_OUTPUT_MKV_WRITER_H

#include <cstdint>

#include "zel/zel.h"

/// Puts a writer for a stream into the slot and opens `file_name`. A writer that is there already is replaced, its file
/// closed without a trailer; it is dropped also when creating the new one fails.
/// `format` is a value of zel_format_get_type(); `width` and `height` are pixels; `framerate` is frames a second.
/// Fails with code 3 without a name, else 17, for an unsupported format and a file that cannot be opened among others.
bool mkv_create(const char *file_name, std::uint32_t format, std::uint32_t width, std::uint32_t height, GError **error,
                double framerate);

/// Writes one frame, which must stay filled during the call; its chunks are taken. Fails with code 3 when there is no
/// writer, 11 or the library's error when the frame's bytes cannot be had, else 17, which is also for bytes that cannot
/// be had without an error: memory that the client may not read. After a failure the file can still be finalised.
bool mkv_write_frame(zel_frame *frame, GError **error);

/// Writes the trailer, closes the file and empties the slot. Succeeds when the slot is empty. Fails with code 17 when
/// no header was written (no frame came, or writing it failed) or the trailer cannot be; the file is closed all the
/// same, and finalising again fails again.
bool mkv_finalize(GError **error);

#endif
