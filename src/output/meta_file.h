// The sidecar: a small binary file beside the raw output that describes every stored frame.
//
// Format (docs/sidecar-format.md): N records of 24 bytes, then the 4-byte count N. All numbers are unsigned and
// little-endian; no magic, no version, no header.
//
//     offset 0   4 bytes   frame type, a value of zel_frame_type_get_type()
//            4   4         reserved, always zero: keeps the time stamp 8-byte aligned
//            8   8         time stamp, us on the service's clock
//           16   4         size, bytes of the frame in the raw output, codec header included
//           20   4         header size, bytes of codec header at the frame's start
//
// Every record is flushed on its own, so that the file can be read while the capture runs and survives a crash: without
// the count its size is a multiple of 24.
//
// There is one sidecar a process. The operations return false on failure and leave an error of the library's domain in
// the slot, which may be null.
#ifndef ZEL_CLIENT_OUTPUT_META_FILE_H
#define ZEL_CLIENT_OUTPUT_META_FILE_H

#include "zel/zel.h"

/// Creates or truncates the sidecar of the output file `output_name`: the name with ".meta" appended, cut silently at 255
/// bytes (kept as it is). Fails with code 3 without a name, 8 when the file cannot be opened. Opening while a sidecar is
/// open forgets that one without closing it.
bool meta_open(const char *output_name, GError **error);

/// Appends the record of one stored frame and flushes it. Fails with code 3 when no sidecar is open or there is no frame,
/// 8 when the record does not reach the file; it is then not counted, though its bytes may be in the file.
bool meta_write_entry(zel_frame *frame, GError **error);

/// Writes the count and closes the file, whatever becomes of the count. Succeeds when no sidecar is open. Fails with code
/// 8 when the count cannot be written; whether closing works is not looked at.
bool meta_close(GError **error);

#endif
