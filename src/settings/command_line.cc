// The command line, step by step.
#include "settings/command_line.h"

#include <glib.h>

#include <cerrno>
#include <cstdlib>

#include "common/errors.h"
#include "common/owned.h"
#include "common/report_stream.h"
#include "formats/stream_format.h"
#include "settings/client_options.h"
#include "settings/finishing.h"
#include "settings/option_builders.h"
#include "settings/settings_map.h"
#include "settings/stream_options.h"
#include "zel/zel.h"

namespace {

/// Settings that the client asks for unless the command line says otherwise; written before parsing, which replaces
/// them.
void store_default_settings() {
  zel_map_set_uint32(settings_map(), "format", formats::kFormatH264);
  zel_map_set_boolean(settings_map(), "frame.chunks", TRUE);
}

/// A word that is no number counts as 0; the service checks the resolution.
guint32 dimension(const char *word) {
  errno = 0;
  return static_cast<guint32>(std::strtol(word, nullptr, 0));
}

/// `argc` counts the program's name and what the option parser left.
void read_resolution(int argc, char **argv) {
  if (argc == 1) return;  // the service chooses
  if (argc != 3) {
    const TextPtr help(g_option_context_get_help(option_context, FALSE, nullptr));
    fatal_error("%s\n", help.get());
  }
  zel_pair32u resolution = {};
  resolution.first = dimension(argv[1]);
  resolution.second = dimension(argv[2]);
  zel_map_set_pair32u(settings_map(), "resolution", resolution);
}

}  // namespace

void read_command_line(int argc, char **argv) {
  option_context = g_option_context_new("<width> <height>");
  add_client_options(option_context);
  register_stream_options();

  store_default_settings();
  GError *error = nullptr;
  if (!g_option_context_parse(option_context, &argc, &argv, &error)) {
    const ErrorPtr failure(error);
    fatal_error("%s\n", failure->message);
  }
  choose_automatic_framerate();

  if (client_options.quiet) silence_report_stream();
  read_resolution(argc, argv);
}
