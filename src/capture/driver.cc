// The driver: one error slot for the whole run; whatever fails leaves its error there and goes to teardown.
#include "capture/driver.h"

#include <glib/gstdio.h>

#include <cstdio>

#include "capture/buffers.h"
#include "capture/capture_loop.h"
#include "capture/output_name.h"
#include "capture/raw_output.h"
#include "capture/stream.h"
#include "common/errors.h"
#include "common/report_stream.h"
#include "console/statistics_report.h"
#include "output/meta_file.h"
#include "output/mkv_writer.h"
#include "settings/client_options.h"
#include "settings/run_settings.h"
#include "settings/settings_map.h"
#include "zel/zel.h"

namespace {

bool check_output_name(GError **error) {
  const bool split = client_options.split_ngop > 0 || client_options.split_nframes > 0;
  return !split || check_split_output_name(client_options.output, error);
}

bool open_outputs(GError **error) {
  if (client_options.mkv != nullptr &&
      !mkv_create(client_options.mkv, stream_format, stream_width, stream_height, error, stream_framerate)) {
    return false;
  }
  return !client_options.meta || meta_open(client_options.output, error);
}

bool start_stream(GError **error) {
  buffer_access = zel_map_get_uint32(settings_map(), "buffer.access", 1);
  (void)g_fprintf(report_stream(), "Starting Stream[%u]:\n", zel_stream_get_id(stream.get()));
  return interactive || zel_stream_start(stream.get(), error);  // an interactive run is started from the keyboard
}

/// The end of a run without an error: the outputs are completed and the statistics printed. A failure skips the rest.
void finish(GError **error) {
  g_clear_error(error);  // of a fetch that did not end the run, or was interrupted; a failure here must report its own
  if (client_options.mkv != nullptr && !mkv_finalize(error)) return;
  if (client_options.meta && !meta_close(error)) return;
  if (client_options.stats) print_statistics(stdout);
  g_clear_error(error);
}

/// Every run ends here. Outputs that finish() completed are closed already; closing them again does nothing.
int tear_down(GError *error) {
  if (error != nullptr) print_error(error);
  close_raw_output();
  if (client_options.meta) meta_close(nullptr);
  if (client_options.mkv != nullptr) mkv_finalize(nullptr);
  if (stream != nullptr) {
    zel_stream_stop(stream.get());
    release_buffers();
    stream.reset();
  }
  const int status = error != nullptr ? 1 : 0;
  request_record.reset();
  g_clear_error(&error);
  return status;
}

}  // namespace

int run_capture() {
  GError *error = nullptr;
  PollSet poll_set;
  const bool ended_normally = check_output_name(&error) && create_stream(&error) && build_poll_set(&poll_set, &error) &&
                              read_stream_properties(&error) && open_outputs(&error) && provision_buffers(&error) &&
                              start_stream(&error) && run_capture_loop(&poll_set, &error);
  if (ended_normally) finish(&error);
  return tear_down(error);
}
