// Receives frames and events and hands each frame on, until a limit, an interrupt or an error ends the run.
#ifndef ZEL_CLIENT_CAPTURE_CAPTURE_LOOP_H
#define ZEL_CLIENT_CAPTURE_CAPTURE_LOOP_H

#include <glib.h>

#include "capture/stream.h"

/// Runs on the process-wide `stream`, which was started or waits for the keyboard to start it.
/// True when the loop ended normally: a limit was reached, a stop was asked for, or poll failed. False when an error
/// ended the run; the error is in `*error`, unless the failing call gave none.
bool run_capture_loop(PollSet *poll_set, GError **error);

#endif
