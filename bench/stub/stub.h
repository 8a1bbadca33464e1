// A libzel without a camera behind it: frames lie ready in memory, so that what is measured is the client.
//
// It is told what to deliver by environment variables:
//
//     ZEL_STUB_SIZE    frames of so many made-up bytes, timestamps from the clock
//     ZEL_STUB_STREAM  a raw H.264 stream, FILE, that was stored with its sidecar, FILE.meta: its frames again and again,
//                      timestamps one frame period of 30 frames a second apart
//     ZEL_STUB_FIRST   a descriptor: the first call writes CLOCK_MONOTONIC to it, in nanoseconds, and ends the process
//
// No call allocates memory once the stream runs.
#ifndef ZEL_BENCH_STUB_H
#define ZEL_BENCH_STUB_H

#include "zel/zel.h"

namespace stub {

/// What ZEL_STUB_FIRST asks for.
void report_first_call();

}  // namespace stub

#endif
