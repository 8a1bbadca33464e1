// Frames that are kept back until play, seen from inside: a client cannot see them.
#include <gtest/gtest.h>
#include <sched.h>

#include "producer/engine.h"
#include "support/camera_fixture.h"

namespace {

using namespace camera;

BufferHandle buffer() {
  static int memory = 0;
  return {&memory, [](void *) {}};
}

// A client that polls must neither be told of the end while frames are kept back nor lose them, and the truth is when
// they could be fetched.
TEST(Holding, KeptFramesComeBeforeTheEnd) {
  FrameQueue queue;
  queue.begin(true);
  Filled filled{buffer(), {}};
  filled.frame.key = true;
  filled.frame.handed_us = 5;
  ASSERT_TRUE(queue.deliver(std::move(filled)));
  queue.end("over");
  std::optional<Filled> fetched;
  std::string reason;
  EXPECT_EQ(queue.fetch(fetched, reason), FetchStatus::kNothing);
  EXPECT_FALSE(is_readable(queue.frame_descriptor()));
  EXPECT_FALSE(is_readable(queue.idle_descriptor()));

  std::vector<std::uint32_t> lost;
  ASSERT_TRUE(queue.release_held(70, lost));
  EXPECT_TRUE(is_readable(queue.frame_descriptor()));
  EXPECT_EQ(queue.fetch(fetched, reason), FetchStatus::kFrame);
  EXPECT_EQ(fetched->frame.handed_us, 70U);
  EXPECT_EQ(queue.fetch(fetched, reason), FetchStatus::kEnded);
  EXPECT_EQ(reason, "over");
  EXPECT_TRUE(is_readable(queue.frame_descriptor()));
  EXPECT_TRUE(is_readable(queue.idle_descriptor()));
}

// When the kept frames are all lost at play, the end is next.
TEST(Holding, TheEndComesWhenNoKeptFrameCanBeShown) {
  FrameQueue queue;
  queue.begin(true);
  ASSERT_TRUE(queue.deliver({buffer(), {}}));
  queue.end("over");
  std::vector<std::uint32_t> lost;
  EXPECT_FALSE(queue.release_held({}, lost));
  EXPECT_EQ(lost.size(), 1U);
  std::optional<Filled> fetched;
  std::string reason;
  EXPECT_EQ(queue.fetch(fetched, reason), FetchStatus::kEnded);
  EXPECT_TRUE(is_readable(queue.idle_descriptor()));
}

// A client may enqueue its buffers after the start: they must be filled before play all the same.
TEST(Holding, BuffersThatComeLateAreFilled) {
  CameraConfig config;
  config.pacing = Pacing::kVirtual;
  const std::optional<Grant> granted = grant({{"buffer_us", guint32{1000000}}, {"framerate", 10.0}}, {}, nullptr);
  ASSERT_TRUE(granted);
  Log log;
  FrameQueue queue;
  Engine engine(config, granted->plan, 1, 1000, log, queue, make_scripted_producer(granted->plan));
  engine.start();
  for (std::uint64_t frames = 1; frames <= 10; ++frames) {
    queue.give(buffer());
    while (queue.held_span_us() != (frames - 1) * 100000)
      ASSERT_EQ(sched_yield(), 0);
  }
  engine.stop();
}

}  // namespace
