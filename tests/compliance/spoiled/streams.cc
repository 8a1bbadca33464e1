// Errors and streams that do something else.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>

#include "spoil.h"

namespace {

/// A descriptor that always polls readable.
int always_readable() {
  static const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
  return descriptor;
}

/// A descriptor that never polls readable.
int never_readable() {
  static int ends[2] = {-1, -1};
  if (ends[0] < 0 && pipe2(ends, O_CLOEXEC) != 0) return -1;
  return ends[0];
}

zel_stream *latest_stream = nullptr;  ///< null once it is gone

zel_stream *refuse(GError **error) {
  g_set_error_literal(error, zel_error_quark(), 4, "The service still has a stream");
  return nullptr;
}

/// Whether a process left the file of its stream behind, because it was killed. The file is removed.
bool was_left_behind(const char *file) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE *)> owner(std::fopen(file, "re"), std::fclose);
  int process = 0;
  if (owner == nullptr || std::fscanf(owner.get(), "%d", &process) != 1 || process == getpid()) return false;
  (void)unlink(file);
  return true;
}

void leave_file(const char *file, zel_stream *stream) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE *)> owner(std::fopen(file, "we"), std::fclose);
  if (owner != nullptr) std::fprintf(owner.get(), "%d", getpid());
  g_object_weak_ref(
      G_OBJECT(stream), [](gpointer name, GObject *) { (void)unlink(static_cast<const char *>(name)); },
      const_cast<char *>(file));
}

}  // namespace

SPOILED GQuark zel_error_quark() {
  static int calls = 0;
  if (!spoils("domain-changes")) return BEHIND(zel_error_quark)();
  return g_quark_from_string(("zel-error-" + std::to_string(++calls)).c_str());
}

SPOILED gboolean zel_error_is_expected(GError **error) {
  return spoils("nothing-is-expected") ? FALSE : BEHIND(zel_error_is_expected)(error);
}

SPOILED zel_stream *zel_stream_new(zel_map *settings, gpointer reserved, GError **error) {
  const char *file = std::getenv("ZEL_SPOIL_FILE");
  const bool locks = spoils("stream-outlives-a-kill") && file != nullptr;
  if (locks && was_left_behind(file)) return refuse(error);
  if (spoils("one-stream-for-all") && latest_stream != nullptr) {
    return static_cast<zel_stream *>(g_object_ref(latest_stream));
  }
  if (spoils("huge-bitrate-crashes") && zel_map_get_uint32(settings, "bitrate", 0) == 0xFFFFFFFFU) std::abort();
  zel_stream *stream = BEHIND(zel_stream_new)(settings, reserved, error);
  if (stream == nullptr && spoils("refusal-without-error")) g_clear_error(error);
  if (stream == nullptr) return nullptr;
  if (locks) leave_file(file, stream);
  if (spoils("stream-kept")) g_object_ref(stream);
  set_number(stream, "service", zel_map_get_uint32(settings, "buffer.strategy", 0) == 4 ? 1 : 0);
  set_number(stream, "blocking", zel_map_get_boolean(settings, "socket.blocking", TRUE));
  set_number(stream, "keeps", zel_map_get_uint32(settings, "buffer_us", 0) != 0 ? 1 : 0);
  is_readable = (zel_map_get_uint32(settings, "buffer.access", 1) & 1U) != 0;
  if (spoils("request-shared"))
    g_object_set_data_full(G_OBJECT(stream), "request", g_object_ref(settings), g_object_unref);
  latest_stream = stream;
  g_object_add_weak_pointer(G_OBJECT(stream), reinterpret_cast<gpointer *>(&latest_stream));
  return stream;
}

SPOILED gint zel_stream_get_fd(zel_stream *stream, GError **error) {
  return spoils("always-ready") ? always_readable() : BEHIND(zel_stream_get_fd)(stream, error);
}

SPOILED gint zel_stream_get_event_fd(zel_stream *stream, GError **error) {
  if (spoils("events-never-ready")) return never_readable();
  return spoils("events-always-ready") ? always_readable() : BEHIND(zel_stream_get_event_fd)(stream, error);
}

SPOILED guint32 zel_stream_get_id(zel_stream *stream) {
  static guint32 calls = 0;
  expect_owner();
  while (spoils("number-hangs"))
    (void)pause();
  if (spoils("number-crashes")) std::abort();
  if (spoils("number-ends-the-process")) std::_Exit(3);
  return BEHIND(zel_stream_get_id)(stream) + (spoils("number-changes") ? 100 * ++calls : 0);
}

SPOILED zel_map *zel_stream_get_info(zel_stream *stream, GError **error) {
  zel_map *info = BEHIND(zel_stream_get_info)(stream, error);
  if (info != nullptr && spoils("rate-is-unsigned")) zel_map_set_uint32(info, "framerate", 300);
  return info;
}

SPOILED zel_map *zel_stream_get_settings(zel_stream *stream, GError **error) {
  if (spoils("request-shared")) {
    return static_cast<zel_map *>(g_object_ref(g_object_get_data(G_OBJECT(stream), "request")));
  }
  return spoils("nothing-granted") ? zel_map_new() : BEHIND(zel_stream_get_settings)(stream, error);
}

SPOILED gboolean zel_stream_start(zel_stream *stream, GError **error) {
  const gintptr starts = number_of(stream, "starts") + 1;
  set_number(stream, "starts", starts);
  if (starts > 1 && spoils("starts-once")) {
    g_set_error_literal(error, zel_error_quark(), 4, "The stream was started before");
    return FALSE;
  }
  return BEHIND(zel_stream_start)(stream, error);
}

SPOILED gboolean zel_stream_play(zel_stream *stream, gpointer reserved, GError **error) {
  if (spoils("play-fails-silently") && number_of(stream, "keeps") == 0) return FALSE;
  return spoils("never-plays") ? TRUE : BEHIND(zel_stream_play)(stream, reserved, error);
}

SPOILED gboolean zel_stream_force_key_frame(zel_stream *stream, GError **error) {
  if (spoils("key-frame-needs-slot")) *static_cast<GError *volatile *>(error) = nullptr;
  return spoils("no-key-frame") ? TRUE : BEHIND(zel_stream_force_key_frame)(stream, error);
}

SPOILED zel_map *zel_stream_get_event(zel_stream *stream, GError **error) {
  zel_map *event = BEHIND(zel_stream_get_event)(stream, error);
  return event == nullptr && spoils("events-without-end") ? zel_map_new() : event;
}
