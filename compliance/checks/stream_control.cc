// Streams: start, stop, play, key frames, several of them, and what goes wrong around them.
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <memory>
#include <string>

#include "compliance/checks/check.h"
#include "compliance/common/expect.h"
#include "compliance/support/frame.h"
#include "compliance/support/stream.h"

namespace compliance {
namespace {

/// Fetches so many frames and hands each one back.
void pass_frames(Stream &stream, int count) {
  for (int i = 0; i < count; ++i)
    stream.hand_back(stream.fetch());
}

/// That decoding can begin with the frame in the buffer.
void expect_key(const std::string &which, const BufferPtr &buffer) {
  expect_truth("whether the first frame " + which + " is a key frame", zel().frame_is_key(frame_of(buffer)), true);
}

void check_starting_again() {
  Stream stream{Request()};
  stream.run(3);
  pass_frames(stream, 3);
  stream.stop();
  (void)zel().stream_stop(stream.get());  // leaves a stopped stream as it is
  stream.start();
  const BufferPtr buffer = stream.fetch();
  expect_key("after starting again", buffer);
  stream.hand_back(buffer);
  pass_frames(stream, 3);
}

/// That a call has worked, or has failed with an error.
void expect_told(const char *call, gboolean worked, const ErrorSlot &error) {
  expect(worked != FALSE || error.get() != nullptr, std::string(call) + " failed without an error, expected one");
}

void check_needless_calls() {
  Stream stream{Request().set("socket.blocking", false)};
  (void)zel().stream_stop(stream.get());
  (void)zel().stream_force_key_frame(stream.get(), nullptr);
  stream.run(3);
  (void)zel().stream_start(stream.get(), nullptr);
  ErrorSlot of_start;
  expect_told("zel_stream_start of a stream that runs", zel().stream_start(stream.get(), of_start.address()), of_start);
  ErrorSlot of_play;
  const gboolean plays = zel().stream_play(stream.get(), nullptr, of_play.address());
  expect_told("zel_stream_play of a stream that keeps no frames", plays, of_play);
  for (int i = 0; i < 5; ++i)
    stream.hand_back(stream.fetch_when_readable());
}

void check_stopping() {
  Stream stream{Request().set("socket.blocking", false)};
  constexpr int kBuffers = 3;
  stream.run(kBuffers);
  const gint64 start = g_get_monotonic_time();
  for (int i = 0; i < kBuffers; ++i)
    stream.hand_back(stream.fetch_when_readable());
  // So long that frames would come, had the stream not been stopped.
  const gint64 frames_time_ms = 4 * (g_get_monotonic_time() - start) / 1000;
  const int wait_ms = static_cast<int>(std::clamp<gint64>(frames_time_ms, 100, short_patience_ms()));
  stream.stop();
  int late = 0;  // frames that were under way
  while (late <= kBuffers && is_readable(stream.descriptor(), wait_ms)) {
    ErrorSlot error;
    const BufferPtr buffer(zel().stream_get_buffer(stream.get(), error.address()));
    if (buffer == nullptr) return;  // the end of the stream may be told
    stream.hand_back(buffer);
    ++late;
  }
  expect(late <= kBuffers,
         "more frames came after the stream was stopped than it has buffers, expected " + shown(kBuffers) + " at most");
}

void check_playing() {
  const Request request = Request().set("socket.blocking", false).set("buffer_us", guint32{100000});
  Stream stream(request, "to keep frames until play");
  stream.run(4);
  ErrorSlot error;
  expect(zel().stream_play(stream.get(), nullptr, error.address()) != FALSE,
         failure_text("zel_stream_play", error, errno) + ", expected the stream to play");
  expect_key("that is played", stream.fetch_when_readable());
}

void check_key_frames() {
  constexpr int kWithin = 30;
  Stream stream{Request().set("gop_length", guint32{4 * kWithin})};
  stream.run(3);
  pass_frames(stream, 2);
  ErrorSlot error;
  require(zel().stream_force_key_frame(stream.get(), error.address()) != FALSE,
          failure_text("zel_stream_force_key_frame", error, errno) + ", expected it to be done");
  for (int i = 0; i < kWithin; ++i) {
    const BufferPtr buffer = stream.fetch();
    if (zel().frame_is_key(frame_of(buffer)) != FALSE) return;
    stream.hand_back(buffer);
  }
  throw Finding("no key frame came among " + shown(kWithin) + " frames after one was asked for, expected one");
}

void check_two_streams() {
  Stream first{Request()};
  first.run(2);
  pass_frames(first, 1);
  const std::unique_ptr<Stream> second = std::make_unique<Stream>(Request(), "a second stream");
  second->run(2);
  expect(second->get() != first.get(), "a second stream is the first one, expected another one");
  const guint32 id = zel().stream_get_id(first.get());
  expect(zel().stream_get_id(second->get()) != id,
         "a second stream has the number of the first one, " + shown(id) + ", expected another one");
  for (int i = 0; i < 5; ++i) {
    pass_frames(first, 1);
    pass_frames(*second, 1);
  }
  second->tear_down();
  pass_frames(first, 3);  // and goes on alone
}

/// Streams until it is killed, after writing a byte to `ready`.
[[noreturn]] void stream_for_ever(int ready) {
  (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
  try {
    Stream stream{Request()};
    stream.run(2);
    for (bool told = false;; told = true) {
      pass_frames(stream, 1);
      if (!told && write(ready, "", 1) != 1) break;
    }
  } catch (const std::exception &) {
  }
  _exit(1);
}

void check_killed_process() {
  int ends[2];
  require(pipe(ends) == 0, "no pipe can be made, expected one");
  const pid_t child = fork();  // before this process opens the library
  if (child == 0) stream_for_ever(ends[1]);
  (void)close(ends[1]);
  char byte = 0;
  const bool streams = read(ends[0], &byte, 1) == 1;
  (void)close(ends[0]);
  (void)kill(child, SIGKILL);
  (void)waitpid(child, nullptr, 0);
  require(streams, "a process of its own got no frame, expected one before it is killed");
  Stream stream{Request()};
  stream.run(2);
  pass_frames(stream, 3);
}

void check_huge_requests() {
  constexpr guint32 kHuge = 0xFFFFFFFF;
  const auto try_one = [](const char *what, const Request &request) {
    ErrorSlot error;
    const ObjectPtr<zel_stream> stream(zel().stream_new(request.map(), nullptr, error.address()));
    if (stream != nullptr) return;
    expect(error.get() != nullptr, std::string(what) + " of 4294967295 was refused without an error, expected one");
  };
  try_one("a resolution", Request().set("resolution", zel_pair32u{.first = kHuge, .second = kHuge}));
  for (const char *key : {"bitrate", "gop_length", "buffer.count", "compression", "rotation", "input"})
    try_one(key, Request().set(key, kHuge));
}

}  // namespace

std::vector<Check> stream_control_checks() {
  return {
      {.name = "Streams.StartingAgain",
       .expects = "A stream that was stopped starts again, with a key frame",
       .relies = "The keys 1 and 3 of an interactive run",
       .run = check_starting_again,
       .needs_frames = true},
      {.name = "Streams.NeedlessCalls",
       .expects = "Starting a stream that runs, and calls that have nothing to do, do no harm; failures leave an error",
       .relies = "The keys 1, 2, 3, k and Enter, whenever they are pressed: failures of 1 and 2 are printed",
       .run = check_needless_calls,
       .needs_frames = true},
      {.name = "Streams.Stopping",
       .expects = "After a stop no frames come but those that were under way",
       .relies = "The key 3, and the end of every run",
       .run = check_stopping,
       .needs_frames = true},
      {.name = "Streams.Playing",
       .expects = "A stream that keeps frames until play delivers them then, from a key frame on",
       .relies = "--buffer_us and the key 2",
       .run = check_playing,
       .needs_frames = true},
      {.name = "Streams.KeyFrames",
       .expects = "A key frame that was asked for arrives within 30 frames",
       .relies = "The key k, and --sync-input",
       .run = check_key_frames,
       .needs_frames = true},
      {.name = "Streams.TwoAtOnce",
       .expects = "Two streams at once each deliver frames, and one goes on when the other ends",
       .relies = "Two clients on one camera",
       .run = check_two_streams,
       .needs_frames = true},
      {.name = "Streams.KilledProcess",
       .expects = "After the kill of a process that streams, the next process gets its frames",
       .relies = "A run after one that crashed or was killed",
       .run = check_killed_process,
       .dangerous = true,
       .needs_frames = true},
      {.name = "Streams.HugeRequests",
       .expects = "Requests of the largest numbers are granted or refused with an error",
       .relies = "Any number on the command line goes to the service as it is",
       .run = check_huge_requests,
       .dangerous = true},
  };
}

}  // namespace compliance
