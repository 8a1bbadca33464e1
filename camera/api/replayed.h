// Calls that a recording answers, see replay/.
#ifndef ZEL_CAMERA_REPLAYED_H
#define ZEL_CAMERA_REPLAYED_H

#include <glib.h>

#include <mutex>
#include <span>
#include <string_view>
#include <unordered_map>

#include "api/object.h"
#include "formats/recording_reader.h"
#include "log/log.h"
#include "replay/replay.h"
#include "zel/zel.h"

namespace camera {

struct Session;

/// The buffers that the recording's streams hold, by their numbers: each with one reference. Guarded by the mutex.
struct ReplayedBuffers {
  std::mutex mutex;
  std::unordered_map<std::uint32_t, Ref<zel_buffer>> held;

  /// The streams are gone.
  void release();
};

/// Makes the enumerations of a recording; GLib keeps them until the process ends. Throws std::runtime_error when one
/// has the name of a type that is none.
void register_types(const RecordedRun &run);

/// How a call is answered.
struct ReplayedCall {
  const formats::RecordingItem *item = nullptr;  ///< null: the call fails
  bool does_work = false;                        ///< the recording does not have it, and it needs none
};

/// Finds the answer to a call, leaves its error (or why there is none) in `error`, which may be null, and sets errno.
ReplayedCall find_replayed(Session &session, std::string_view name, std::span<const LogField> arguments,
                           GError **error);

// The result of a recorded call, as each type of result has it.
void give_replayed(Session &session, const formats::RecordingItem &call, gint &result);
void give_replayed(Session &session, const formats::RecordingItem &call, guint &result);
void give_replayed(Session &session, const formats::RecordingItem &call, glong &result);
void give_replayed(Session &session, const formats::RecordingItem &call, gulong &result);
void give_replayed(Session &session, const formats::RecordingItem &call, unsigned long long &result);
void give_replayed(Session &session, const formats::RecordingItem &call, gdouble &result);
void give_replayed(Session &session, const formats::RecordingItem &call, zel_map *&result);
void give_replayed(Session &session, const formats::RecordingItem &call, zel_stream *&result);
void give_replayed(Session &session, const formats::RecordingItem &call, zel_buffer *&result);
void give_replayed(Session &session, const formats::RecordingItem &call, zel_chunk &result);
void give_replayed(Session &session, const formats::RecordingItem &call, GVariant *&result);

/// Does what a call without a result did: prints what a map printed.
void repeat_replayed(const formats::RecordingItem &call);

}  // namespace camera

#endif
