// Events.
#include <gtest/gtest.h>

#include "support/camera_fixture.h"

namespace {

class EventTest : public CameraTest {
 protected:
  /// The oldest waiting event as a dump; empty without one.
  std::string next_event() {
    const MapRef map(zel_stream_get_event(stream_.get(), nullptr));
    if (map == nullptr) return {};
    ::testing::internal::CaptureStdout();
    zel_map_dump(map.get());
    return ::testing::internal::GetCapturedStdout();
  }
  bool waits() { return is_readable(zel_stream_get_event_fd(stream_.get(), nullptr)); }
};

// The descriptor is readable exactly while an event waits.
TEST_F(EventTest, StartAndStopAreTold) {
  configure("pacing=virtual\nproducer=scripted");
  create({});
  EXPECT_FALSE(waits());
  EXPECT_EQ(next_event(), "");
  start();
  EXPECT_TRUE(waits());
  EXPECT_EQ(next_event(), "event = 'started'\nsequence = 0\n");
  EXPECT_FALSE(waits());
  stop();
  EXPECT_TRUE(next_event().starts_with("event = 'stopped'\nsequence = "));
  EXPECT_FALSE(waits());
  EXPECT_EQ(next_event(), "");
}

// A rate that changes by itself is told.
TEST_F(EventTest, ADynamicFramerateIsTold) {
  create({{"resolution", zel_pair32u{64, 64}},
          {"format", guint32{5}},
          {"input", guint32{3}},
          {"framerate", 10.0},
          {"dynamic.framerate", true}});
  start();
  (void)fetch(2);
  EXPECT_EQ(next_event(), "event = 'started'\nsequence = 0\n");
  EXPECT_EQ(next_event(), "event = 'settings'\nframerate = 1\n");
  EXPECT_EQ(log("event")[1].dump(), R"({"event":{"event":"settings","framerate":1.0},"kind":"event","stream":1})");
}

// Nobody has to fetch events: the oldest are forgotten.
TEST_F(EventTest, UnfetchedEventsDoNotPileUp) {
  configure("pacing=virtual\nproducer=scripted");
  create({}, 0);
  for (int i = 0; i < 300; ++i) {
    start();
    stop();
  }
  int events = 0;
  while (!next_event().empty())
    ++events;
  EXPECT_EQ(events, 256);
}

}  // namespace
