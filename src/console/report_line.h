// The line that is printed for every frame, and the text that names a frame's type.
#ifndef ZEL_CLIENT_CONSOLE_REPORT_LINE_H
#define ZEL_CLIENT_CONSOLE_REPORT_LINE_H

#include <glib.h>

#include "console/frame_stats.h"
#include "zel/zel.h"

/// The width of the default line's type column for a stream of `stream_format` (a value of zel_format_get_type()), when
/// the first line's type text is `first_text`.
guint32 type_column_width(guint32 stream_format, const char *first_text);

/// Names the frame: "!show", "empty", the nick of its type, or "n/a" for a type without a name. The text is constant;
/// the caller never frees it.
const char *frame_type_text(zel_frame *frame);

/// Prints the frame's line on the report stream, in the shape that the client options choose, and after it the frame's
/// extra information when asked for. `timing` comes from time_frame(); `stream_format` as above,
/// formats::kFormatUnknown when the service gave none. Write errors are ignored.
void report_frame(zel_frame *frame, const FrameTiming &timing, guint32 stream_format);

#endif
