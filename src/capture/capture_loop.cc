// The capture loop.
#include "capture/capture_loop.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>

#include "capture/raw_output.h"
#include "common/errors.h"
#include "common/owned.h"
#include "console/frame_stats.h"
#include "console/interactive.h"
#include "console/report_line.h"
#include "output/meta_file.h"
#include "output/mkv_writer.h"
#include "settings/client_options.h"
#include "settings/run_settings.h"

namespace {

/// What the loop does after a step.
enum class Next {
  kGoOn,  // with the pass
  kNextPass,
  kEnd,   // the run ends normally
  kFail,  // the run ends with the error in the slot
};

/// The state of one run of the loop.
struct Loop {
  PollSet *poll_set;
  GError **error;
  guint64 time_limit_us;        // 0: none
  gint32 frame_count = 0;       // frames that went all the way through; -1 while skipping to the input's start
  gint32 segment_count = 0;     // frames so far that started a segment
  guint64 start_timestamp = 0;  // of the frame that opened the time span
  bool synced = false;          // the first input frame has been seen
};

/// Seconds as microseconds. A negative duration is no limit.
guint64 time_limit_of(gint32 duration) {
  return duration <= 0 ? 0 : static_cast<guint64>(static_cast<double>(duration) * 1e6);
}

/// Counts on from 2147483647 at -2147483648, so that an endless run stays defined.
gint32 wrapping_sum(gint32 count, gint32 more) {
  return static_cast<gint32>(static_cast<guint32>(count) + static_cast<guint32>(more));
}

/// The kernel lets a thread's timers be 50 us late, to wake fewer times: the sleep of 0 after every frame would last
/// that long, inside the latency that is reported. From here on this thread, and those that it starts, wake when they
/// are due.
void sleep_no_longer_than_asked() {
  (void)prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
}

bool limit_reached(const Loop &loop) {
  const gint32 frames = frame_limit();
  if (frames != 0 && loop.frame_count >= frames) return true;
  // Strictly more: the frame that opens one segment too many has been stored when the loop stops.
  return client_options.segments != 0 && loop.segment_count > client_options.segments;
}

/// Waits for the keyboard, a frame or an event. Only runs with a configured terminal wait here; the others wait in the
/// blocking fetch.
Next wait(const Loop &loop) {
  if (!terminal_configured) return Next::kGoOn;
  if (poll(loop.poll_set->entries.data(), loop.poll_set->nfds, -1) >= 0) return Next::kGoOn;
  return errno == EAGAIN ? Next::kNextPass : Next::kEnd;
}

void take_event() {
  const ObjectPtr<zel_map> event(zel_stream_get_event(stream.get(), nullptr));
  if (event != nullptr && !client_options.quiet) zel_map_dump(event.get());
}

/// What follows a fetch that gave no buffer. `cause` is errno right after the fetch.
Next after_failed_fetch(const Loop &loop, int cause) {
  if (g_error_matches(*loop.error, zel_error_quark(), kErrorNothingToFetch)) return Next::kNextPass;
  if (cause == EINTR && frame_limit() < 0) return Next::kEnd;
  if (*loop.error != nullptr && zel_error_is_expected(loop.error)) return Next::kFail;
  print_error(*loop.error);
  return Next::kNextPass;
}

/// Whether this frame lies beyond the time span that an earlier frame opened.
bool time_is_up(Loop *loop, zel_frame *frame) {
  if (loop->time_limit_us == 0) return false;
  const guint64 timestamp = zel_frame_get_timestamp(frame);
  if (loop->frame_count == 0) {
    loop->start_timestamp = timestamp;
    return false;
  }
  return timestamp - loop->start_timestamp >= loop->time_limit_us;
}

/// Skips frames until the one with which the input begins. Only the low 32 bits of its timestamp are tested; kept so.
/// A skipped frame sets the count to -1, so the first frame of the input is processed as -1 and becomes frame 0.
Next sync_to_input(Loop *loop, zel_buffer *buffer, zel_frame *frame) {
  if (!client_options.sync_input || loop->synced) return Next::kGoOn;
  if (static_cast<guint32>(zel_frame_get_timestamp(frame)) == 0) {
    loop->synced = true;
    return Next::kGoOn;
  }
  if (!zel_stream_buffer_enqueue(stream.get(), buffer, loop->error)) return Next::kFail;
  if (!zel_stream_force_key_frame(stream.get(), loop->error)) return Next::kFail;
  loop->frame_count = -1;
  return Next::kNextPass;
}

/// Times, reports and stores one frame.
bool process_frame(const Loop &loop, zel_frame *frame) {
  const FrameTiming timing = time_frame(frame);
  report_frame(frame, timing, stream_format);
  finish_frame_timing(frame, timing);
  if (!write_raw_frame(frame, loop.frame_count, buffer_access, loop.error)) return false;
  if (client_options.mkv != nullptr && !mkv_write_frame(frame, loop.error)) return false;
  return !client_options.meta || meta_write_entry(frame, loop.error);
}

/// Fetches, processes and hands back one frame. The reference that the fetch gave is held until the frame's segment
/// flag has been read, which is after the buffer was handed back; kept so.
Next service_frame(Loop *loop) {
  const ObjectPtr<zel_buffer> buffer(zel_stream_get_buffer(stream.get(), loop->error));
  if (buffer == nullptr) return after_failed_fetch(*loop, errno);
  (void)usleep(static_cast<useconds_t>(client_options.delay_us));  // also when it is 0

  zel_frame *frame = zel_buffer_get_frame(buffer.get());
  if (time_is_up(loop, frame)) return Next::kEnd;  // the frame is neither processed nor handed back
  const Next synced = sync_to_input(loop, buffer.get(), frame);
  if (synced != Next::kGoOn) return synced;

  if (!process_frame(*loop, frame)) return Next::kFail;
  if (!zel_stream_buffer_enqueue(stream.get(), buffer.get(), loop->error)) return Next::kFail;
  if (step_count > 0) --step_count;
  loop->frame_count = wrapping_sum(loop->frame_count, 1);
  loop->segment_count = wrapping_sum(loop->segment_count, zel_frame_is_segment_start(frame));
  return Next::kNextPass;
}

/// One pass: stop tests, wait, keyboard, event, frame.
Next run_pass(Loop *loop) {
  if (limit_reached(*loop)) return Next::kEnd;
  g_clear_error(loop->error);  // one that an earlier pass only printed
  const Next waited = wait(*loop);
  if (waited != Next::kGoOn) return waited;
  if (loop->poll_set->is_ready(PollSet::kKeyboard)) handle_key(stream.get());
  if (step_count == 0) return Next::kNextPass;
  if (loop->poll_set->is_ready(PollSet::kEvents)) take_event();
  if (!loop->poll_set->is_ready(PollSet::kFrames)) return Next::kNextPass;
  return service_frame(loop);
}

}  // namespace

bool run_capture_loop(PollSet *poll_set, GError **error) {
  sleep_no_longer_than_asked();
  Loop loop = {.poll_set = poll_set, .error = error, .time_limit_us = time_limit_of(client_options.duration)};
  while (true) {
    const Next next = run_pass(&loop);
    if (next == Next::kEnd) return true;
    if (next == Next::kFail) return false;
  }
}
