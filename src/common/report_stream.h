// The stream through which every informational console line goes.
#ifndef ZEL_CLIENT_COMMON_REPORT_STREAM_H
#define ZEL_CLIENT_COMMON_REPORT_STREAM_H

#include <cstdio>

/// Standard output, or the null sink after silence_report_stream(). Ready before main runs. Never null: where
/// "/dev/null" cannot be opened it stays standard output.
FILE *report_stream();

/// Sends every later line to "/dev/null" (option "quiet"). Errors, dumps and the statistics report go elsewhere.
void silence_report_stream();

#endif
