// Owner of the provisioned buffers.
#include "capture/buffers.h"

#include <glib/gstdio.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "capture/stream.h"
#include "common/owned.h"
#include "common/report_stream.h"
#include "settings/client_options.h"
#include "settings/settings_map.h"
#include "zel/zel.h"

namespace {

std::array<zel_buffer *, MAX_BUFFERS> buffers = {};  // each null or one reference
guint32 buffer_count = 0;                            // how many entries were provisioned

/// The value of "buffer.strategy" with which the service brings its own buffers.
constexpr guint32 kServiceBuffers = 4;

bool service_brings_buffers() {
  const VariantPtr strategy(zel_map_get_variant(settings_map(), "buffer.strategy", nullptr));
  if (strategy == nullptr || g_variant_get_size(strategy.get()) != sizeof kServiceBuffers) return false;
  const gconstpointer data = g_variant_get_data(strategy.get());
  return data != nullptr && std::memcmp(data, &kServiceBuffers, sizeof kServiceBuffers) == 0;
}

}  // namespace

guint32 buffers_to_provision(guint32 requested, gint32 frames) {
  const guint32 count = std::clamp<guint32>(requested, 1, MAX_BUFFERS);
  const auto limit = static_cast<guint32>(frames);
  return limit != 0 && count >= limit ? limit : count;
}

bool provision_buffers(GError **error) {
  if (service_brings_buffers()) return true;
  buffer_count = buffers_to_provision(zel_map_get_uint32(settings_map(), "buffer.count", MAX_BUFFERS), frame_limit());
  (void)g_fprintf(report_stream(), "Adding %zu buffers.\n", static_cast<size_t>(buffer_count));
  for (guint32 i = 0; i < buffer_count; ++i) {
    buffers.at(i) = zel_stream_buffer_alloc(stream.get(), nullptr, error);
    if (buffers.at(i) == nullptr) return false;
    if (!zel_stream_buffer_enqueue(stream.get(), buffers.at(i), error)) return false;
  }
  return true;
}

void release_buffers() {
  for (guint32 i = 0; i < buffer_count; ++i) {
    if (buffers.at(i) != nullptr) zel_stream_buffer_unref(stream.get(), &buffers.at(i), nullptr);
  }
}
