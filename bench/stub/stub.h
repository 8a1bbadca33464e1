/* A libzel without a camera: its frames lie in memory before the first one is fetched, so that what is measured is the
 * client. Environment variables say what it delivers; see pictures.h for
 *
 *     ZEL_STUB_SIZE, ZEL_STUB_STREAM
 *
 * and besides these
 *
 *     ZEL_STUB_FIRST   a descriptor: the first call writes CLOCK_MONOTONIC to it, in nanoseconds, and ends the process
 *
 * Timestamps are one frame period of 30 frames a second apart, whatever the clock says. No call allocates memory once
 * the stream runs. It is written in C so that it loads no library that the client does not load.
 */
#ifndef ZEL_BENCH_STUB_H
#define ZEL_BENCH_STUB_H

#include <glib.h>

/** Does what ZEL_STUB_FIRST asks for. */
void stub_report_first_call(void);

#endif
