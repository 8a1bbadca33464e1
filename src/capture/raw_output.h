// Stores frames exactly as the stream delivers them: in one file, in split files, or the last frame only.
#ifndef ZEL_CLIENT_CAPTURE_RAW_OUTPUT_H
#define ZEL_CLIENT_CAPTURE_RAW_OUTPUT_H

#include <glib.h>

#include <optional>

#include "zel/zel.h"

/// What decides which file a frame goes to.
struct SplitState {
  bool open_pending = true;  ///< a file must be opened before the next write; true only until the first frame
  gint32 gop_count = -1;     ///< key frames seen so far minus one
};

/// The number to format the output name with when this frame needs a file of its own, nothing when it goes to the
/// current one. With `split_ngop` a key frame decides by the count of groups of pictures and never reaches the rule of
/// `split_nframes`; `frame_count` may be -1 (the first frame after skipping to the input's start).
std::optional<gint32> number_of_new_file(SplitState *state, bool is_key, gint32 frame_count, gint32 split_ngop,
                                         gint32 split_nframes);

/// Writes one frame to the file that "output" and the split options choose. With "mkv" the file is opened all the same
/// but stays empty. Bit 0 of `buffer_access` clear: the frame's chunks are taken but not written.
/// Failure sets an error of the client's domain; the file stays open until close_raw_output().
bool write_raw_frame(zel_frame *frame, gint32 frame_count, guint32 buffer_access, GError **error);

/// Closes the file if one is open.
void close_raw_output();

#endif
