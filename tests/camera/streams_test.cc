// Streams: buffers, descriptors, blocking, order of calls, misuse.
#include <gtest/gtest.h>
#include <sys/time.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <set>
#include <thread>

#include "support/camera_fixture.h"

namespace {

class StreamTest : public CameraTest {
 protected:
  StreamTest() { configure("pacing=virtual\nproducer=scripted"); }
};

// What a non-blocking client tells "nothing yet" by.
TEST_F(StreamTest, WithoutBlockingNothingToFetchIsCode13) {
  create({{"socket.blocking", false}}, 0);
  start();
  const Failure failure = fetch_failure();
  EXPECT_EQ(failure.code, 13);
  EXPECT_EQ(failure.error_number, EAGAIN);
  EXPECT_FALSE(failure.expected);
}

// A client that waits for a frame must be able to be interrupted.
TEST_F(StreamTest, ASignalInterruptsABlockingFetch) {
  create({}, 0);
  start();
  struct sigaction action {};
  action.sa_handler = [](int) {};
  action.sa_flags = SA_RESTART;
  sigaction(SIGALRM, &action, nullptr);
  const itimerval often{{0, 10000}, {0, 10000}};
  setitimer(ITIMER_REAL, &often, nullptr);
  const Failure failure = fetch_failure();
  const itimerval never{};
  setitimer(ITIMER_REAL, &never, nullptr);
  EXPECT_EQ(failure.error_number, EINTR);
  EXPECT_NE(failure.code, 0);
  EXPECT_NE(failure.code, 13);
  EXPECT_FALSE(failure.expected);
}

// A fetch from a stream that is not started must not hang for ever.
TEST_F(StreamTest, ABlockingFetchNeedsAStartedStream) {
  create({});
  const Failure failure = fetch_failure();
  EXPECT_EQ(failure.code, 5);
  EXPECT_TRUE(failure.expected);
}

// Another thread's stop must end a waiting fetch.
TEST_F(StreamTest, StopEndsAWaitingFetch) {
  create({}, 0);
  start();
  std::thread stopper([&] { zel_stream_stop(stream_.get()); });
  const Failure failure = fetch_failure();
  stopper.join();
  EXPECT_EQ(failure.code, 5);
}

TEST_F(StreamTest, StartStopPlayAndForceWorkInAnyOrder) {
  create({{"gop_length", guint32{1000}}});
  EXPECT_TRUE(zel_stream_force_key_frame(stream_.get(), nullptr));
  EXPECT_TRUE(zel_stream_play(stream_.get(), nullptr, nullptr));
  stop();
  start();
  start();
  EXPECT_TRUE(fetch().key);
  EXPECT_FALSE(fetch().key);
  EXPECT_TRUE(zel_stream_play(stream_.get(), nullptr, nullptr));
  stop();
  stop();
  start();
  EXPECT_TRUE(fetch().key);
  EXPECT_TRUE(zel_stream_force_key_frame(stream_.get(), nullptr));
  bool forced = false;
  for (int i = 0; i < 8 && !forced; ++i)
    forced = fetch().key;
  EXPECT_TRUE(forced);
}

// A client that asks for a key frame gets one within the frames that were under way.
TEST_F(StreamTest, SequenceNumbersGoOnAfterAStop) {
  create({}, 1);
  start();
  const Seen first = fetch();
  stop();
  start();
  const Seen second = fetch();
  stop();
  std::set<unsigned> seen;
  for (const auto &line : log("frame"))
    seen.insert(line["sequence"].get<unsigned>());
  for (const auto &line : log("drop")) {
    EXPECT_EQ(line["reason"], "stopped");
    EXPECT_TRUE(seen.insert(line["sequence"].get<unsigned>()).second);
  }
  EXPECT_EQ(first.sequence, 0U);
  EXPECT_GT(second.sequence, first.sequence);
  for (unsigned i = 0; i < seen.size(); ++i)
    EXPECT_TRUE(seen.contains(i)) << i;
}

// A client reads a frame's flags after it has handed the buffer back, while the stream fills it anew.
TEST_F(StreamTest, AFrameStaysReadableUntilItsBufferIsFetchedAnew) {
  create({}, 1);
  start();
  for (unsigned i = 0; i < 50; ++i) {
    const BufferRef buffer(zel_stream_get_buffer(stream_.get(), nullptr));
    ASSERT_NE(buffer, nullptr);
    ASSERT_TRUE(zel_stream_buffer_enqueue(stream_.get(), buffer.get(), nullptr));
    EXPECT_EQ(zel_frame_get_sequence_nbr(buffer.get()), i);
    EXPECT_EQ(zel_frame_get_timestamp(buffer.get()), 1000000 + guint64{i} * 1000000 / 30);
  }
}

TEST_F(StreamTest, EachCallTakesTheNextChunkFromTheStart) {
  create({}, 1);
  start();
  const BufferRef buffer(zel_stream_get_buffer(stream_.get(), nullptr));
  const zel_chunk chunk = zel_frame_take_chunk_ex(buffer.get(), 0x80000000);
  EXPECT_EQ(chunk.size, zel_frame_get_size(buffer.get()));
  EXPECT_NE(chunk.mark, G_MININT32);
  EXPECT_EQ(zel_frame_take_chunk(buffer.get(), nullptr).size, 0U);
  EXPECT_EQ(zel_frame_take_chunk(buffer.get(), nullptr).size, 0U);
}

TEST_F(StreamTest, ABufferIsInTheStreamOnce) {
  create({}, 1);
  ErrorSlot error;
  EXPECT_FALSE(zel_stream_buffer_enqueue(stream_.get(), buffers_[0].get(), error.address()));
  EXPECT_EQ(take_failure(error).message, "The buffer is in the stream already");
}

TEST_F(StreamTest, ABufferBelongsToItsStream) {
  create({}, 0);
  StreamRef first = std::move(stream_);
  create({}, 0);
  const BufferRef buffer(zel_stream_buffer_alloc(first.get(), nullptr, nullptr));
  ErrorSlot error;
  EXPECT_FALSE(zel_stream_buffer_enqueue(stream_.get(), buffer.get(), error.address()));
  EXPECT_EQ(take_failure(error).message, "The buffer belongs to another stream");
}

TEST_F(StreamTest, UnrefClearsThePointer) {
  create({}, 0);
  zel_buffer *buffer = zel_stream_buffer_alloc(stream_.get(), nullptr, nullptr);
  EXPECT_TRUE(zel_stream_buffer_unref(stream_.get(), &buffer, nullptr));
  EXPECT_EQ(buffer, nullptr);
  ASSERT_EQ(log("release").size(), 2U);
}

// A client that keeps a buffer past the end of its stream must still be able to read and release it.
TEST_F(StreamTest, ABufferStaysValidAfterItsStream) {
  create({}, 1);
  start();
  const BufferRef buffer(zel_stream_get_buffer(stream_.get(), nullptr));
  stream_.reset();
  EXPECT_EQ(zel_frame_get_size(buffer.get()), 24000U);
  EXPECT_EQ(zel_frame_take_chunk(buffer.get(), nullptr).size, 24000U);
}

// No interface call may crash on misuse.
TEST_F(StreamTest, NullsAreMissingArguments) {
  create({}, 0);
  ErrorSlot error;
  const auto missing = [&] { return take_failure(error).code == 3; };
  EXPECT_TRUE(zel_stream_new(nullptr, nullptr, error.address()) == nullptr && missing());
  EXPECT_TRUE(zel_stream_get_fd(nullptr, error.address()) < 0 && missing());
  EXPECT_TRUE(zel_stream_get_event_fd(nullptr, error.address()) < 0 && missing());
  EXPECT_TRUE(zel_stream_get_info(nullptr, error.address()) == nullptr && missing());
  EXPECT_TRUE(zel_stream_get_settings(nullptr, error.address()) == nullptr && missing());
  EXPECT_TRUE(zel_stream_start(nullptr, error.address()) == FALSE && missing());
  EXPECT_TRUE(zel_stream_play(nullptr, nullptr, error.address()) == FALSE && missing());
  EXPECT_TRUE(zel_stream_force_key_frame(nullptr, error.address()) == FALSE && missing());
  EXPECT_TRUE(zel_stream_get_event(nullptr, error.address()) == nullptr && missing());
  EXPECT_TRUE(zel_stream_buffer_alloc(nullptr, nullptr, error.address()) == nullptr && missing());
  EXPECT_TRUE(zel_stream_buffer_enqueue(nullptr, nullptr, error.address()) == FALSE && missing());
  EXPECT_TRUE(zel_stream_buffer_enqueue(stream_.get(), nullptr, error.address()) == FALSE && missing());
  EXPECT_TRUE(zel_stream_get_buffer(nullptr, error.address()) == nullptr && missing());
  EXPECT_TRUE(zel_stream_buffer_unref(stream_.get(), nullptr, error.address()) == FALSE && missing());
  EXPECT_TRUE(zel_frame_take_chunk(nullptr, error.address()).mark == G_MININT32 && missing());
  EXPECT_FALSE(zel_stream_stop(nullptr));
  EXPECT_EQ(zel_stream_get_id(nullptr), 0U);
  EXPECT_EQ(zel_buffer_get_frame(nullptr), nullptr);
  EXPECT_EQ(zel_buffer_get_capacity(nullptr), 0U);
  EXPECT_EQ(zel_buffer_get_id(nullptr), 0U);
  EXPECT_FALSE(zel_buffer_is_contiguous(nullptr));
  EXPECT_EQ(zel_frame_get_size(nullptr), 0U);
  EXPECT_EQ(zel_frame_get_header_size(nullptr), 0);
  EXPECT_EQ(zel_frame_get_timestamp(nullptr), 0U);
  EXPECT_EQ(zel_frame_get_extra_info(nullptr), nullptr);
  EXPECT_EQ(zel_frame_take_chunk_ex(nullptr, 0).mark, G_MININT32);
  EXPECT_EQ(zel_stream_new(nullptr, nullptr, nullptr), nullptr);
}

// A buffer that was never filled is a frame of nothing.
TEST_F(StreamTest, AnUnfilledBufferIsAnEmptyFrame) {
  create({}, 0);
  const BufferRef buffer(zel_stream_buffer_alloc(stream_.get(), nullptr, nullptr));
  EXPECT_EQ(zel_frame_get_size(buffer.get()), 0U);
  EXPECT_EQ(zel_frame_take_chunk(buffer.get(), nullptr).size, 0U);
  EXPECT_GT(zel_buffer_get_capacity(buffer.get()), 0U);
  EXPECT_EQ(zel_buffer_get_id(buffer.get()), 1U);
}

// Calls may come from several threads at once; the stream's own thread is one more.
TEST_F(StreamTest, ThreadsMayShareAStream) {
  create({{"socket.blocking", false}});
  std::atomic<bool> done = false;
  std::thread fetcher([&] {
    while (!done) {
      const BufferRef buffer(zel_stream_get_buffer(stream_.get(), nullptr));
      if (buffer == nullptr) continue;
      (void)look_at(buffer.get());
      EXPECT_TRUE(zel_stream_buffer_enqueue(stream_.get(), buffer.get(), nullptr));
      const MapRef event(zel_stream_get_event(stream_.get(), nullptr));
    }
  });
  for (int i = 0; i < 30; ++i) {
    EXPECT_TRUE(zel_stream_start(stream_.get(), nullptr));
    EXPECT_TRUE(zel_stream_force_key_frame(stream_.get(), nullptr));
    EXPECT_TRUE(zel_stream_stop(stream_.get()));
  }
  done = true;
  fetcher.join();
}

}  // namespace
