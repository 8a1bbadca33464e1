// A frame's bytes as one block.
#ifndef ZEL_CLIENT_OUTPUT_FRAME_DATA_H
#define ZEL_CLIENT_OUTPUT_FRAME_DATA_H

#include <cstdint>

#include "zel/zel.h"

/// The frame's zel_frame_get_size() bytes as one block, or null. Takes the frame's chunks, so it works once a filling.
///
/// A contiguous frame is not copied: the bytes are the library's, valid while the frame's buffer is held. The chunks of
/// any other frame are gathered, with a zero byte behind them, in one process-wide buffer that is valid until the next
/// call and grows to the largest frame.
///
/// Null: a contiguous frame's chunk could not be taken (the library has set the error), or memory is exhausted (code 11
/// "Out of memory"). A contiguous chunk without a data pointer, of an empty frame or of memory that the client may not
/// read, gives null and no error: the caller has to set one.
std::uint8_t *frame_data(zel_frame *frame, GError **error);

#endif
