// Streams: making one, what it says of itself, and its descriptors.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "compliance/checks/check.h"
#include "compliance/common/finding.h"
#include "compliance/support/stream.h"
#include "formats/stream_format.h"

namespace compliance {
namespace {

void check_creation() {
  gpointer alive = nullptr;
  {
    const Request request;
    Stream stream(request);
    // The map stays the caller's: what becomes of it says nothing to the stream.
    zel().map_set_uint32(request.map(), "bitrate", 1);
    stream.run(2);
    (void)stream.fetch();
    alive = stream.get();
    g_object_add_weak_pointer(G_OBJECT(stream.get()), &alive);
    ASSERT_NE(alive, nullptr) << "the stream while the client holds it";
  }
  EXPECT_EQ(alive, nullptr) << "the stream after its only reference was released";
}

bool holds(const MapPtr &map, const char *key, const GVariantType *type) {
  const VariantPtr value(zel().map_get_variant(map.get(), key, nullptr));
  return value != nullptr && g_variant_is_of_type(value.get(), type) != FALSE;
}

void check_info() {
  const Stream stream{Request()};
  const MapPtr info = stream.info();
  for (const char *key : {"width", "height", "format"})
    EXPECT_TRUE(holds(info, key, G_VARIANT_TYPE_UINT32)) << "the info's \"" << key << "\" as an unsigned";
  EXPECT_TRUE(holds(info, "framerate", G_VARIANT_TYPE_DOUBLE)) << "the info's \"framerate\" as a double";
  EXPECT_GT(zel().map_get_uint32(info.get(), "width", 0), 0U) << "the width";
  EXPECT_GT(zel().map_get_uint32(info.get(), "height", 0), 0U) << "the height";
  EXPECT_GT(zel().map_get_double(info.get(), "framerate", 0.0), 0.0) << "the frame rate";
  const guint32 format = zel().map_get_uint32(info.get(), "format", formats::kFormatUnknown);
  const std::optional<guint32> asked = asked_number("format");
  if (asked) {
    EXPECT_EQ(format, *asked) << "the format, on the left, and what --set asks for";
  }
  note(std::to_string(zel().map_get_uint32(info.get(), "width", 0)) + " x " +
       std::to_string(zel().map_get_uint32(info.get(), "height", 0)) + ", format " + std::to_string(format));
}

void check_granted_settings() {
  const Request request = Request().set("socket.blocking", true);
  const Stream stream(request);
  ErrorSlot error;
  const MapPtr granted(zel().stream_get_settings(stream.get(), error.address()));
  ASSERT_NE(granted, nullptr) << "zel_stream_get_settings failed with " << error.text() << ", expected a map";
  ASSERT_TRUE(G_IS_OBJECT(granted.get())) << "the settings, expected a GObject";
  EXPECT_TRUE(holds(granted, "socket.blocking", G_VARIANT_TYPE_BOOLEAN))
      << "\"socket.blocking\" among the settings as a boolean, as it was asked for";
  for (const Setting &setting : options.settings) {
    EXPECT_TRUE(zel().map_contains_va(granted.get(), setting.key.c_str(), nullptr))
        << "\"" << setting.key << "\" among the settings, as it was asked for";
  }
  const MapPtr again(zel().stream_get_settings(stream.get(), error.address()));
  ASSERT_NE(again, nullptr) << "of zel_stream_get_settings, called again after a release";
}

void check_id() {
  const Stream stream{Request()};
  const guint32 id = zel().stream_get_id(stream.get());
  EXPECT_EQ(zel().stream_get_id(stream.get()), id) << "of zel_stream_get_id, called twice";
}

void check_frame_descriptor() {
  Stream stream{Request().set("socket.blocking", false)};
  stream.provide(2);
  const int descriptor = stream.descriptor();
  EXPECT_FALSE(is_readable(descriptor, 0)) << "readable before the stream was started";
  stream.start();
  std::vector<BufferPtr> held;
  for (const char *which : {"first", "second"}) {
    ASSERT_TRUE(is_readable(descriptor, patience_ms())) << "readable for the " << which << " frame, after a while";
    held.push_back(stream.fetch());
  }
  EXPECT_FALSE(is_readable(descriptor, 0)) << "readable while the client holds all buffers";
  stream.hand_back(held.front());
  EXPECT_TRUE(is_readable(descriptor, patience_ms())) << "readable again after a buffer was handed back";
  EXPECT_EQ(stream.descriptor(), descriptor) << "the descriptor, asked for again, on the left";
}

/// Takes every event that waits; a Finding when they do not end.
int take_events(const Stream &stream) {
  constexpr int kMost = 1000;
  for (int count = 0; count < kMost; ++count) {
    ErrorSlot error;
    const MapPtr event(zel().stream_get_event(stream.get(), error.address()));
    if (event == nullptr) return count;
  }
  throw Finding(std::to_string(kMost) + " events were taken without an end, expected each of them once");
}

/// The event descriptor; a Skip without one.
int event_descriptor(const Stream &stream) {
  ErrorSlot error;
  const gint descriptor = zel().stream_get_event_fd(stream.get(), error.address());
  if (descriptor < 0) throw Skip("the library has no event descriptor");
  return descriptor;
}

/// Starts and stops a stream with buffers, and waits for what it says of that.
void cause_events(Stream &stream, int descriptor) {
  stream.run(2);
  (void)stream.fetch();
  stream.stop();
  if (!is_readable(descriptor, short_patience_ms())) throw Skip("starting and stopping brings no event");
}

void check_event_descriptor() {
  Stream stream{Request()};
  const int descriptor = event_descriptor(stream);
  cause_events(stream, descriptor);
  (void)take_events(stream);
  EXPECT_FALSE(is_readable(descriptor, 0)) << "the event descriptor is readable after the last event was taken";
}

void check_events() {
  Stream stream{Request()};
  cause_events(stream, event_descriptor(stream));
  const int count = take_events(stream);
  EXPECT_GT(count, 0) << "events taken while the event descriptor was readable, on the left";
  EXPECT_EQ(take_events(stream), 0) << "events taken again, on the left";
}

}  // namespace

std::vector<Check> stream_checks() {
  return {
      {.name = "Streams.Creation",
       .expects = "A stream takes no part in what becomes of its request, and goes away with its only reference",
       .relies = "The stream ends with the run, and so does the service's work for it",
       .run = check_creation},
      {.name = "Streams.Info",
       .expects = "The info has width, height and format as unsigned numbers and framerate as a double",
       .relies = "The Matroska file's codec, picture size and durations, and the columns of the frame lines",
       .run = check_info},
      {.name = "Streams.Settings",
       .expects = "The granted settings are a map of the caller's own, with what was asked for",
       .relies = "What is printed under settings",
       .run = check_granted_settings},
      {.name = "Streams.Id",
       .expects = "A stream keeps its number",
       .relies = "The line \"Starting Stream[...]\"",
       .run = check_id},
      {.name = "Streams.FrameDescriptor",
       .expects = "The frame descriptor is readable exactly while a frame waits",
       .relies = "Interactive and delayed runs wait there for frames and keys, without turning in circles",
       .run = check_frame_descriptor},
      {.name = "Streams.EventDescriptor",
       .expects = "The event descriptor is not readable once all events are taken",
       .relies = "Interactive and delayed runs wait there too",
       .run = check_event_descriptor},
      {.name = "Streams.Events",
       .expects = "A waiting event is given out, once; then comes NULL at once",
       .relies = "The events that are printed between the frames",
       .run = check_events},
  };
}

}  // namespace compliance
