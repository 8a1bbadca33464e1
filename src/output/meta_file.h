// Writing the sidecar, whose format formats/sidecar.h describes: each record is flushed on its own.
//
// There is one sidecar a process. The operations return false on failure and leave an error of the library's domain in
// the slot, which may be null.
#ifndef ZEL_CLIENT_OUTPUT_META_FILE_H
#define ZEL_CLIENT_OUTPUT_META_FILE_H

#include "zel/zel.h"

/// Creates or truncates the sidecar of the output file `output_name`: the name with ".meta" appended, cut silently at
/// 255 bytes (kept as it is). Fails with code 3 without a name, 8 when the file cannot be opened. Opening while a
/// sidecar is open drops that one without closing it.
bool meta_open(const char *output_name, GError **error);

/// Appends the record of one stored frame and flushes it. Fails with code 3 when no sidecar is open or there is no
/// frame, 8 when the record does not reach the file; it is then not counted, though its bytes may be in the file.
bool meta_write_entry(zel_frame *frame, GError **error);

/// Writes the count and closes the file, whatever becomes of the count. Succeeds when no sidecar is open. Fails with
/// code 8 when the count cannot be written; a failure to close is ignored.
bool meta_close(GError **error);

#endif
