// The one stream of the run: its object, its properties and its descriptors.
#ifndef ZEL_CLIENT_CAPTURE_STREAM_H
#define ZEL_CLIENT_CAPTURE_STREAM_H

#include <poll.h>

#include <array>

#include "common/owned.h"
#include "zel/zel.h"

/// Null until created; released at teardown.
extern ObjectPtr<zel_stream> stream;

/// What the service says the stream delivers. Written once, before the first frame.
extern guint32 stream_width;      ///< pixels, 0 when the service does not say
extern guint32 stream_height;     ///< pixels, 0 when the service does not say
extern gdouble stream_framerate;  ///< frames a second, 0.0 when the service does not say
extern guint32 stream_format;     ///< of zel_format_get_type(), formats::kFormatUnknown when the service does not say

/// The setting "buffer.access"; bit 0: the client may read the frames' data. Written once, before the first frame.
extern guint32 buffer_access;

/// What the capture loop waits on. Without a configured terminal the loop never polls and takes the pre-set results.
struct PollSet {
  enum Entry { kKeyboard, kFrames, kEvents };
  std::array<pollfd, 3> entries = {};
  nfds_t nfds = 0;  ///< 3, or 2 when the stream has no event descriptor

  bool is_ready(Entry entry) const { return entries.at(entry).revents != 0; }
};

/// Creates the stream from the settings map, under "zel_debug" with the debug intent.
bool create_stream(GError **error);

/// Asks the stream for its descriptors.
bool build_poll_set(PollSet *poll_set, GError **error);

/// Asks for the stream's properties, and, unless "quiet", dumps the request, the granted settings and the info to
/// standard output.
bool read_stream_properties(GError **error);

#endif
