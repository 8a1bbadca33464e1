// Streams: making one, what it says of itself, and its descriptors.
#include <cerrno>
#include <string>
#include <vector>

#include "compliance/checks/check.h"
#include "compliance/common/expect.h"
#include "compliance/support/stream.h"
#include "formats/stream_format.h"

namespace compliance {
namespace {

void check_delivery() {
  Stream stream{Request()};
  const gint64 start = g_get_monotonic_time();
  stream.run(3);
  const BufferPtr buffer = stream.fetch();
  note("the first frame came " + std::to_string((g_get_monotonic_time() - start) / 1000) + " ms after the start");
}

/// An unsigned number that a map has under the key; "" when it has none.
std::string number_in(const MapPtr &map, const char *key) {
  constexpr guint32 kNone = 0xFFFFFFFF;
  const guint32 number = zel().map_get_uint32(map.get(), key, kNone);
  return number != kNone ? std::to_string(number) : "";
}

MapPtr granted_settings(const Stream &stream) {
  ErrorSlot error;
  MapPtr granted(zel().stream_get_settings(stream.get(), error.address()));
  require(granted != nullptr, failure_text("zel_stream_get_settings", error, errno) + ", expected a map");
  return granted;
}

void check_creation() {
  gpointer alive = nullptr;
  {
    const Request request;
    Stream stream(request);
    const std::string granted = number_in(granted_settings(stream), "format");
    // The map stays the caller's: what becomes of it says nothing to the stream.
    zel().map_set_uint32(request.map(), "format", formats::kFormatUnknown - 1);
    expect_equal("the format among a stream's settings after the request was changed",
                 number_in(granted_settings(stream), "format"), granted);
    stream.run(2);
    (void)stream.fetch();
    alive = stream.get();
    g_object_add_weak_pointer(G_OBJECT(stream.get()), &alive);
    require(alive != nullptr, "a stream went away while the client held it, expected it to stay");
  }
  expect(alive == nullptr, "a stream stayed when its only reference was released, expected it to go away");
}

/// What kind of value a map has under the key.
std::string kind_in(const MapPtr &map, const char *key) {
  const VariantPtr value(zel().map_get_variant(map.get(), key, nullptr));
  if (value == nullptr) return "nothing";
  if (g_variant_is_of_type(value.get(), G_VARIANT_TYPE_BOOLEAN) != FALSE) return "a boolean";
  if (g_variant_is_of_type(value.get(), G_VARIANT_TYPE_UINT32) != FALSE) return "an unsigned";
  if (g_variant_is_of_type(value.get(), G_VARIANT_TYPE_DOUBLE) != FALSE) return "a double";
  return std::string("a variant of the type ") + g_variant_get_type_string(value.get());
}

void expect_kind(const std::string &where, const MapPtr &map, const char *key, const std::string &kind) {
  const std::string seen = kind_in(map, key);
  expect(seen == kind, where + " has \"" + key + "\" as " + seen + ", expected " + kind);
}

void check_info() {
  const Stream stream{Request()};
  const MapPtr info = stream.info();
  for (const char *key : {"width", "height", "format"})
    expect_kind("the info", info, key, "an unsigned");
  expect_kind("the info", info, "framerate", "a double");
  const guint32 width = zel().map_get_uint32(info.get(), "width", 0);
  const guint32 height = zel().map_get_uint32(info.get(), "height", 0);
  const double rate = zel().map_get_double(info.get(), "framerate", 0.0);
  const guint32 format = zel().map_get_uint32(info.get(), "format", formats::kFormatUnknown);
  note(std::to_string(width) + " x " + std::to_string(height) + ", format " + std::to_string(format));
  expect(width > 0 && height > 0, "the picture is " + shown(width) + " x " + shown(height) + ", expected some pixels");
  expect(rate > 0.0, "the frame rate is " + shown(rate) + ", expected more than 0");
  expect_equal("the format in the info", format, asked_number("format").value_or(formats::kFormatH264));
}

void check_granted_settings() {
  const Stream stream{Request()};
  const MapPtr granted = granted_settings(stream);
  require(G_IS_OBJECT(granted.get()), "the granted settings are something else, expected a GObject");
  expect_kind("the map of granted settings", granted, "format", "an unsigned");
  for (const Setting &setting : options.settings) {
    expect(zel().map_contains_va(granted.get(), setting.key.c_str(), nullptr) != FALSE,
           "the granted settings lack \"" + setting.key + "\", expected what --set asked for");
  }
  const MapPtr again = granted_settings(stream);
}

void check_id() {
  const Stream stream{Request()};
  const guint32 id = zel().stream_get_id(stream.get());
  expect_equal("the number of a stream, asked for again,", zel().stream_get_id(stream.get()), id);
}

void check_frame_descriptor() {
  Stream stream{Request().set("socket.blocking", false)};
  stream.provide(2);
  const int descriptor = stream.descriptor();
  const std::string whether = "whether the frame descriptor is readable ";
  expect_truth(whether + "before the stream was started", is_readable(descriptor, 0), false);
  stream.start();
  std::vector<BufferPtr> held;
  for (const char *which : {"first", "second"}) {
    const bool readable = is_readable(descriptor, patience_ms());
    require(readable, whether + "a while after the start, for the " + which + " frame, is false, expected true");
    held.push_back(stream.fetch());
  }
  expect_truth(whether + "while the client holds all buffers", is_readable(descriptor, 0), false);
  stream.hand_back(held.front());
  expect_truth(whether + "a while after a buffer was handed back", is_readable(descriptor, patience_ms()), true);
  expect_equal("the frame descriptor, asked for again,", stream.descriptor(), descriptor);
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
  if (is_readable(descriptor, short_patience_ms())) return;
  require(take_events(stream) == 0, "the event descriptor is not readable while an event waits, expected it to be");
  throw Skip("starting and stopping brings no event");
}

void check_event_descriptor() {
  Stream stream{Request()};
  const int descriptor = event_descriptor(stream);
  cause_events(stream, descriptor);
  (void)take_events(stream);
  expect_truth("whether the event descriptor is readable after the last event was taken", is_readable(descriptor, 0),
               false);
}

void check_events() {
  {
    Stream stream{Request()};
    stream.run(2);
    (void)take_events(stream);  // which never waits, though the stream blocks
  }
  Stream stream{Request()};
  cause_events(stream, event_descriptor(stream));
  expect(take_events(stream) > 0, "no event was given out while the event descriptor was readable, expected one");
  expect_equal("the count of events that are given out again", take_events(stream), 0);
}

}  // namespace

std::vector<Check> stream_checks() {
  return {
      {.name = kDelivery,
       .expects = "A stream delivers a frame into the buffers that it was given",
       .relies = "Every run. Without frames the checks that look at some are skipped",
       .run = check_delivery},
      {.name = "Streams.Creation",
       .expects = "What becomes of a request does not change its stream, which goes away with its only reference",
       .relies = "The stream ends with the run, and so does the service's work for it",
       .run = check_creation,
       .needs_frames = true},
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
       .run = check_frame_descriptor,
       .needs_frames = true},
      {.name = "Streams.EventDescriptor",
       .expects = "The event descriptor is not readable once all events are taken",
       .relies = "Interactive and delayed runs wait there too",
       .run = check_event_descriptor,
       .needs_frames = true},
      {.name = "Streams.Events",
       .expects = "A waiting event is given out, once; then comes NULL at once",
       .relies = "The events that are printed between the frames",
       .run = check_events,
       .needs_frames = true},
  };
}

}  // namespace compliance
