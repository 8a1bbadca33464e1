// The buffers that the client provisions for the stream to fill.
#ifndef ZEL_CLIENT_CAPTURE_BUFFERS_H
#define ZEL_CLIENT_CAPTURE_BUFFERS_H

#include <glib.h>

inline constexpr guint32 MAX_BUFFERS = 10;

/// How many buffers to provision: "buffer.count" between 1 and MAX_BUFFERS, and no more than `frames` when that is a
/// limit. The comparison is unsigned, so a negative `frames` never lowers the count.
guint32 buffers_to_provision(guint32 requested, gint32 frames);

/// Allocates and enqueues the buffers one by one, unless the service brings its own. What was allocated is kept for
/// release_buffers() also when a later one fails.
bool provision_buffers(GError **error);

/// Releases what was provisioned. The stream must still exist.
void release_buffers();

#endif
