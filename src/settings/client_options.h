// The client's own options, as opposed to those that go to the video service.
#ifndef ZEL_CLIENT_SETTINGS_CLIENT_OPTIONS_H
#define ZEL_CLIENT_SETTINGS_CLIENT_OPTIONS_H

#include <glib.h>

#include <array>

struct ClientOptions {
  gint32 frames = 0;          ///< frames to capture, 0: no limit, -1: a stop was asked for. See frame_limit().
  gint32 duration = 0;        ///< seconds to capture, 0: no limit
  gint32 segments = 0;        ///< segments to capture, 0: no limit
  gint32 delay_us = 0;        ///< sleep after every fetched frame, microseconds; the keyboard changes it during the run
  const char *mkv = nullptr;  ///< Matroska file name, null: none
  const char *output = "/dev/null";  ///< raw output file name: a printf format for one integer
  gint32 split_ngop = 0;             ///< a new raw file every so many groups of pictures, 0: no split
  gint32 split_nframes = 0;          ///< a new raw file every so many frames, 0: no split
  gboolean meta = FALSE;             ///< write the metadata sidecar
  gboolean quiet = FALSE;            ///< no informational console lines and no dumps
  gboolean stats = FALSE;            ///< statistics report at the end, and the longer report line
  gboolean extra_info = FALSE;       ///< dump each frame's extra info
  gboolean zel_debug = FALSE;        ///< debug report line, debug intent, events
  gboolean last = FALSE;             ///< keep only the last frame in the raw file
  gboolean sync_input = FALSE;       ///< skip frames until the first input frame
};

/// Filled by the command line before the run; after that only `frames` (interrupt) and `delay_us` (keyboard) change.
extern ClientOptions client_options;

/// The frame limit as it is now: the interrupt handler changes it between any two steps, so every test of it reads it
/// afresh. Safe in a signal handler.
gint32 frame_limit();

/// Stores -1 as the frame limit, which ends the capture loop at its next pass. Safe in a signal handler.
void request_stop();

/// Where a client option's value goes.
enum class ClientOptionKind {
  kInteger,   ///< a signed 32-bit number
  kFileName,  ///< the text as given
  kFlag,      ///< no value; true when present
};

/// The field of `client_options` that an option writes.
struct ClientField {
  constexpr ClientField(gint32 ClientOptions::*field) : number(field) {}
  constexpr ClientField(const char *ClientOptions::*field) : file_name(field) {}
  gint32 ClientOptions::*number = nullptr;  ///< of an integer or a flag
  const char *ClientOptions::*file_name = nullptr;
};

struct ClientOption {
  const char *name;
  char short_name;  ///< 0 for none
  ClientOptionKind kind;
  ClientField field;
  const char *help;
};

/// In the order of the help. The doubled percent signs are shown as they are.
// clang-format off
inline constexpr std::array<ClientOption, 15> kClientOptions = [] {
  using enum ClientOptionKind;
  return std::array<ClientOption, 15>{{
      {"frames", 'n', kInteger, &ClientOptions::frames, "Number of frames to capture"},
      {"duration", 0, kInteger, &ClientOptions::duration, "Maximum number of seconds to capture"},
      {"segments", 0, kInteger, &ClientOptions::segments, "Number of segments to capture"},
      {"delay_us", 0, kInteger, &ClientOptions::delay_us, "Sleep between every frame"},
      {"mkv", 0, kFileName, &ClientOptions::mkv, "Write MKV"},
      {"output", 'o', kFileName, &ClientOptions::output, "Output filename"},
      {"split_ngop", 'G', kInteger, &ClientOptions::split_ngop, "Split by nbr of whole gops, '%%d' in output required"},
      {"split_nframes", 'N', kInteger, &ClientOptions::split_nframes,
       "Split by nbr of frames, '%%d' in output required"},
      {"last", 0, kFlag, &ClientOptions::last, "Save last frame only"},
      {"sync-input", 0, kFlag, &ClientOptions::sync_input, "Skip frames until first input frame (for raw-nv12 loop)"},
      {"meta", 'm', kFlag, &ClientOptions::meta, "Save metadata in a separate file"},
      {"quiet", 'q', kFlag, &ClientOptions::quiet, "Disable per-frame-prints"},
      {"stats", 's', kFlag, &ClientOptions::stats, "Generate statistics"},
      {"extra_info", 'x', kFlag, &ClientOptions::extra_info, "Print frame extra info"},
      {"zel_debug", 'D', kFlag, &ClientOptions::zel_debug, "Print debug info"},
  }};
}();
// clang-format on

/// Adds the table as the main entries of the option context; parsing then writes straight into `client_options`.
void add_client_options(GOptionContext *context);

#endif
