// Steers the stream from the keyboard: terminal set-up, keys, stepping and the pause between frames.
#ifndef ZEL_CLIENT_CONSOLE_INTERACTIVE_H
#define ZEL_CLIENT_CONSOLE_INTERACTIVE_H

#include <glib.h>

#include "zel/zel.h"

/// Frames that may still be taken. Negative: any number; 0: hold; positive: that many in stepping. handle_key()
/// switches to stepping and raises it; the capture loop lowers a positive count when it has handed a frame back. Never
/// negative again once stepping.
extern gint32 step_count;

/// Makes standard input non-blocking and takes its terminal out of line editing and echo, then sets
/// terminal_configured. Ends the process when standard input is no terminal. Neither the terminal's modes nor the
/// descriptor's flags are restored when the process ends; kept so.
void configure_interactive_mode();

/// Reads one key from standard input, if there is one, and acts on it. Only once terminal_configured is set. Failures
/// of the stream are printed on standard error and otherwise ignored.
void handle_key(zel_stream *stream);

/// The pause at `index` of the delay cycle, in microseconds; moves `index` on. After the last pause comes the first.
guint32 next_delay(guint32 &index);

#endif
