// The finishing of the settings, step by step.
#include "settings/finishing.h"

#include <array>

#include "settings/run_settings.h"
#include "settings/settings_map.h"
#include "zel/zel.h"

namespace {

/// What "dynamic" switches, in order. "dynamic.resolution" has no option of its own.
constexpr std::array kDynamicKeys = {
    "dynamic.gop",        "dynamic.force",      "dynamic.bitrate",     "dynamic.framerate",
    "dynamic.lumostream", "dynamic.resolution", "dynamic.compression",
};

/// The whole-group switch wins over the individual options, whatever the order on the command line.
void expand_dynamic(zel_map *settings) {
  if (!zel_map_contains_va(settings, "dynamic", nullptr)) return;
  for (const char *key : kDynamicKeys)
    zel_map_copy_value(settings, "dynamic", key);
}

/// Width and height together make a crop; anything less goes to the service as it is.
void fold_crop(zel_map *settings) {
  if (!zel_map_contains_va(settings, "crop.width", "crop.height", nullptr)) return;
  zel_quad32u crop = {};
  crop.first = zel_map_get_uint32(settings, "crop.x", 0);
  crop.second = zel_map_get_uint32(settings, "crop.y", 0);
  crop.third = zel_map_get_uint32(settings, "crop.width", 0);
  crop.fourth = zel_map_get_uint32(settings, "crop.height", 0);
  zel_map_remove_prefix(settings, "crop.");
  zel_map_set_quad32u(settings, "crop", crop);
}

}  // namespace

void choose_automatic_framerate() {
  if (!zel_map_contains_va(settings_map(), "framerate", nullptr)) {
    zel_map_set_boolean(settings_map(), "framerate.auto", TRUE);
  }
}

void finish_settings(void (*configure_terminal)()) {
  zel_map *settings = settings_map();
  expand_dynamic(settings);
  fold_crop(settings);

  timestamp_type = zel_map_get_uint32(settings, "timestamp.type", 0);
  const guint32 buffer_us = zel_map_get_uint32(settings, "buffer_us", 0);
  interactive = zel_map_get_boolean(settings, "interactive", FALSE);

  // A delayed-play run gets the keyboard and the non-blocking stream of an interactive one; the coupling is intended.
  if (buffer_us != 0 || interactive) {
    zel_map_set_boolean(settings, "socket.blocking", FALSE);
    configure_terminal();
    terminal_configured = true;
  }

  request_record.reset(zel_map_new());
  zel_map_merge(request_record.get(), settings);
}
