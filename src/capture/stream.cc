// Creating the stream and learning what it is.
#include "capture/stream.h"

#include <unistd.h>

#include "formats/stream_format.h"
#include "settings/client_options.h"
#include "settings/run_settings.h"
#include "settings/settings_map.h"

ObjectPtr<zel_stream> stream;
guint32 stream_width = 0;
guint32 stream_height = 0;
gdouble stream_framerate = 0.0;
guint32 stream_format = formats::kFormatUnknown;
guint32 buffer_access = 1;

namespace {

/// The library's number for a debugging client.
constexpr guint32 kDebugIntent = 21;

void dump(const char *heading, const zel_map *map) {
  g_print("%s", heading);
  zel_map_dump(map);
}

}  // namespace

bool create_stream(GError **error) {
  // The request record was taken before, so the request that is shown never has the intent.
  if (client_options.zel_debug) zel_map_set_uint32(settings_map(), "intent", kDebugIntent);
  stream.reset(zel_stream_new(settings_map(), nullptr, error));
  return stream != nullptr;
}

bool build_poll_set(PollSet *poll_set, GError **error) {
  const gint frame_fd = zel_stream_get_fd(stream.get(), error);
  if (frame_fd < 0) return false;
  const gint event_fd = zel_stream_get_event_fd(stream.get(), nullptr);
  poll_set->entries = {{
      {.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
      {.fd = frame_fd, .events = POLLIN, .revents = 0},
      {.fd = event_fd, .events = POLLIN, .revents = 0},
  }};
  poll_set->nfds = event_fd < 0 ? 2 : 3;
  if (!terminal_configured) {
    poll_set->entries[PollSet::kFrames].revents = POLLIN;
    if (client_options.zel_debug) poll_set->entries[PollSet::kEvents].revents = POLLIN;
  }
  return true;
}

bool read_stream_properties(GError **error) {
  const ObjectPtr<zel_map> info(zel_stream_get_info(stream.get(), error));
  if (info == nullptr) return false;
  const ObjectPtr<zel_map> granted(zel_stream_get_settings(stream.get(), error));
  if (granted == nullptr) return false;

  stream_width = zel_map_get_uint32(info.get(), "width", 0);
  stream_height = zel_map_get_uint32(info.get(), "height", 0);
  stream_framerate = zel_map_get_double(info.get(), "framerate", 0.0);
  stream_format = zel_map_get_uint32(info.get(), "format", formats::kFormatUnknown);

  if (!client_options.quiet) {
    dump("-------------------request--------------------\n", request_record.get());
    dump("-------------------settings-------------------\n", granted.get());
    dump("--------------------info----------------------\n", info.get());
    g_print("----------------------------------------------\n");
  }
  return true;
}
