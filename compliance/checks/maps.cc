// Maps: settings, and all that the library says in keys and values.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "common/owned.h"
#include "compliance/checks/check.h"
#include "compliance/common/finding.h"
#include "compliance/support/stream.h"

namespace compliance {
namespace {

using Bytes = std::vector<std::uint8_t>;

MapPtr new_map() {
  MapPtr map(zel().map_new());
  if (map == nullptr) throw Finding("zel_map_new gave NULL, expected a map");
  return map;
}

/// The bytes of a value's variant; a Finding when it has none.
Bytes serialised(const MapPtr &map, const char *key) {
  const VariantPtr variant(zel().map_get_variant(map.get(), key, nullptr));
  if (variant == nullptr) throw Finding(std::string("zel_map_get_variant gave NULL for \"") + key + "\", which is set");
  const auto *data = static_cast<const std::uint8_t *>(g_variant_get_data(variant.get()));
  const gsize size = g_variant_get_size(variant.get());
  return data != nullptr ? Bytes(data, data + size) : Bytes();
}

template <typename Number>
Bytes bytes_of(std::initializer_list<Number> numbers) {
  Bytes bytes(sizeof(Number) * numbers.size());
  std::memcpy(bytes.data(), numbers.begin(), bytes.size());
  return bytes;
}

bool contains(const MapPtr &map, const char *key) {
  return zel().map_contains_va(map.get(), key, nullptr) != FALSE;
}

void check_references() {
  zel_map *map = zel().map_new();
  ASSERT_NE(map, nullptr) << "of zel_map_new";
  ASSERT_TRUE(G_IS_OBJECT(map)) << "zel_map_new gave something else, expected a GObject";
  EXPECT_FALSE(contains(MapPtr(static_cast<zel_map *>(g_object_ref(map))), "key")) << "in a new map";
  gpointer alive = map;
  g_object_add_weak_pointer(G_OBJECT(map), &alive);
  g_object_ref(map);
  g_object_unref(map);
  ASSERT_NE(alive, nullptr) << "a map of two references went away with one of them";
  g_object_unref(map);
  EXPECT_EQ(alive, nullptr) << "a map stayed when its only reference was released";
}

void check_booleans() {
  const MapPtr map = new_map();
  for (const gboolean value : {gboolean{TRUE}, gboolean{FALSE}}) {
    zel().map_set_boolean(map.get(), "key", value);
    EXPECT_EQ(zel().map_get_boolean(map.get(), "key", !value), value) << "read back, on the left";
    EXPECT_EQ(serialised(map, "key"), bytes_of<std::uint8_t>({static_cast<std::uint8_t>(value)}))
        << "the variant's bytes, on the left";
  }
}

void check_unsigned() {
  const MapPtr map = new_map();
  for (const guint32 value : {0U, 1U, 0x01020304U, 0x80000000U, 0xFFFFFFFFU}) {
    zel().map_set_uint32(map.get(), "key", value);
    EXPECT_EQ(zel().map_get_uint32(map.get(), "key", ~value), value) << "read back, on the left";
    EXPECT_EQ(serialised(map, "key"), bytes_of({value})) << "the variant's bytes, on the left";
  }
}

void check_doubles() {
  const MapPtr map = new_map();
  for (const double value : {0.0, 29.97, -0.5, 1e-300, std::numeric_limits<double>::max()}) {
    zel().map_set_double(map.get(), "key", value);
    EXPECT_EQ(zel().map_get_double(map.get(), "key", 4.0), value) << "read back, on the left";
    EXPECT_EQ(serialised(map, "key"), bytes_of({value})) << "the variant's bytes, on the left";
  }
}

void check_strings() {
  const MapPtr map = new_map();
  for (const char *value : {"text", "", "two words"}) {
    std::string key = "key";
    std::string text = value;
    zel().map_set_string(map.get(), key.c_str(), text.c_str());
    key = "???";  // both are copied
    text.assign(text.size(), '?');
    EXPECT_EQ(serialised(map, "key"), Bytes(value, value + std::strlen(value) + 1))
        << "the variant's bytes, on the left, of \"" << value << "\" with its zero";
  }
}

void check_pairs() {
  const MapPtr map = new_map();
  zel().map_set_pair32u(map.get(), "key", {.first = 0x11223344, .second = 0xFFEEDDCC});
  EXPECT_EQ(serialised(map, "key"), bytes_of<guint32>({0x11223344, 0xFFEEDDCC})) << "the variant's bytes, on the left";
}

void check_quads() {
  const MapPtr map = new_map();
  zel().map_set_quad32u(map.get(), "key", {.first = 1, .second = 0x22222222, .third = 0x333333, .fourth = 0xFFFFFFFF});
  EXPECT_EQ(serialised(map, "key"), bytes_of<guint32>({1, 0x22222222, 0x333333, 0xFFFFFFFF}))
      << "the variant's bytes, on the left";
}

void check_replacing() {
  const MapPtr map = new_map();
  zel().map_set_string(map.get(), "key", "text");
  zel().map_set_uint32(map.get(), "key", 7);
  EXPECT_EQ(zel().map_get_uint32(map.get(), "key", 0), 7U) << "an unsigned that replaced a text, on the left";
  zel().map_set_double(map.get(), "key", 2.5);
  EXPECT_EQ(zel().map_get_double(map.get(), "key", 0.0), 2.5) << "a double that replaced an unsigned, on the left";
  EXPECT_EQ(serialised(map, "key").size(), 8U) << "the bytes of its variant, on the left";
}

void check_defaults() {
  const MapPtr map = new_map();
  EXPECT_EQ(zel().map_get_boolean(map.get(), "absent", TRUE), TRUE) << "an absent boolean, on the left";
  EXPECT_EQ(zel().map_get_uint32(map.get(), "absent", 0xFFFFFFFF), 0xFFFFFFFF) << "an absent unsigned, on the left";
  EXPECT_EQ(zel().map_get_double(map.get(), "absent", 0.25), 0.25) << "an absent double, on the left";
  EXPECT_EQ(zel().map_get_variant(map.get(), "absent", nullptr), nullptr) << "an absent variant, on the left";
  zel().map_set_uint32(map.get(), "unsigned", 1);
  zel().map_set_double(map.get(), "double", 1.0);
  EXPECT_EQ(zel().map_get_boolean(map.get(), "unsigned", FALSE), FALSE) << "an unsigned read as boolean, on the left";
  EXPECT_EQ(zel().map_get_uint32(map.get(), "double", 9), 9U) << "a double read as unsigned, on the left";
  EXPECT_EQ(zel().map_get_double(map.get(), "unsigned", 0.5), 0.5) << "an unsigned read as double, on the left";
}

void check_variant_references() {
  const MapPtr map = new_map();
  bool freed = false;
  const auto set_freed = [](gpointer flag) { *static_cast<bool *>(flag) = true; };
  const std::uint64_t data = 0;  // as aligned as any value: GLib copies what is not
  GBytes *bytes = g_bytes_new_with_free_func(&data, sizeof(guint32), set_freed, &freed);
  GVariant *given = g_variant_ref_sink(g_variant_new_from_bytes(G_VARIANT_TYPE_UINT32, bytes, TRUE));
  g_bytes_unref(bytes);
  GVariant *got = zel().map_get_variant(map.get(), "absent", given);
  EXPECT_EQ(got, given) << "the default of an absent key, on the left what came";
  g_variant_unref(given);
  ASSERT_FALSE(freed) << "the default came back without a reference of its own";
  g_variant_unref(got);
  EXPECT_TRUE(freed) << "the default came back with more than one reference";

  zel().map_set_uint32(map.get(), "key", 7);
  const VariantPtr value(zel().map_get_variant(map.get(), "key", nullptr));
  ASSERT_NE(value, nullptr) << "of a key that is set";
  zel().map_set_uint32(map.get(), "key", 8);
  EXPECT_EQ(g_variant_get_uint32(value.get()), 7U) << "a variant that was held while its key got 8, on the left";
}

void check_contains() {
  const MapPtr map = new_map();
  zel().map_set_boolean(map.get(), "crop.width", TRUE);
  zel().map_set_uint32(map.get(), "crop.height", 0);
  EXPECT_TRUE(contains(map, "crop.width")) << "one key that is there";
  EXPECT_FALSE(contains(map, "crop")) << "a key that is only the beginning of another";
  EXPECT_TRUE(zel().map_contains_va(map.get(), "crop.width", "crop.height", nullptr)) << "two that are there";
  EXPECT_FALSE(zel().map_contains_va(map.get(), "crop.x", "crop.height", nullptr)) << "two, the first one absent";
  EXPECT_FALSE(zel().map_contains_va(map.get(), "crop.width", "crop.y", nullptr)) << "two, the second one absent";
}

void check_copying() {
  const MapPtr map = new_map();
  zel().map_set_boolean(map.get(), "dynamic", TRUE);
  zel().map_set_uint32(map.get(), "target", 3);
  zel().map_copy_value(map.get(), "dynamic", "target");
  EXPECT_EQ(serialised(map, "target"), bytes_of<std::uint8_t>({1})) << "a boolean copied over an unsigned, on the left";
  EXPECT_TRUE(contains(map, "dynamic")) << "the source after copying";
  zel().map_copy_value(map.get(), "absent", "target");
  EXPECT_EQ(serialised(map, "target"), bytes_of<std::uint8_t>({1})) << "the target of an absent source, on the left";
}

void check_removing() {
  const MapPtr map = new_map();
  for (const char *key : {"crop", "crop.x", "crop.width", "cropped", "a.crop.x"})
    zel().map_set_uint32(map.get(), key, 1);
  zel().map_remove_prefix(map.get(), "crop.");
  for (const char *key : {"crop.x", "crop.width"})
    EXPECT_FALSE(contains(map, key)) << key << " after \"crop.\" was removed";
  for (const char *key : {"crop", "cropped", "a.crop.x"})
    EXPECT_TRUE(contains(map, key)) << key << " after \"crop.\" was removed";
}

void check_merging() {
  const MapPtr source = new_map();
  const MapPtr destination = new_map();
  zel().map_set_uint32(source.get(), "both", 1);
  zel().map_set_double(source.get(), "source", 2.5);
  zel().map_set_boolean(destination.get(), "both", FALSE);
  zel().map_set_uint32(destination.get(), "destination", 3);
  zel().map_merge(destination.get(), source.get());
  EXPECT_EQ(zel().map_get_uint32(destination.get(), "both", 0), 1U) << "what both had, on the left";
  EXPECT_EQ(zel().map_get_double(destination.get(), "source", 0), 2.5) << "what the source had, on the left";
  EXPECT_EQ(zel().map_get_uint32(destination.get(), "destination", 0), 3U) << "what the destination had, on the left";
  EXPECT_FALSE(contains(source, "destination")) << "the destination's key in the source";
  zel().map_set_uint32(source.get(), "both", 9);
  EXPECT_EQ(zel().map_get_uint32(destination.get(), "both", 0), 1U) << "after a change of the source, on the left";
}

/// What the work prints to standard output.
template <typename Work>
std::string printed_by(Work work) {
  const std::unique_ptr<FILE, int (*)(FILE *)> file(std::tmpfile(), std::fclose);
  if (file == nullptr) throw Skip("no temporary file can be made");
  (void)std::fflush(stdout);
  const int standard_output = dup(STDOUT_FILENO);
  (void)dup2(fileno(file.get()), STDOUT_FILENO);
  work();
  (void)std::fflush(stdout);
  (void)dup2(standard_output, STDOUT_FILENO);
  (void)close(standard_output);
  std::string text(static_cast<std::size_t>(lseek(fileno(file.get()), 0, SEEK_END)), '\0');
  const ssize_t length = pread(fileno(file.get()), text.data(), text.size(), 0);
  text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  return text;
}

void check_dumping() {
  const MapPtr map = new_map();
  zel().map_set_uint32(map.get(), "bitrate", 2000000);
  const std::string text = printed_by([&] { zel().map_dump(map.get()); });
  EXPECT_NE(text.find("bitrate"), std::string::npos)
      << "printed was \"" << text << "\", expected the key bitrate in it";
}

}  // namespace

std::vector<Check> map_checks() {
  return {
      {.name = "Maps.References",
       .expects = "A new map is an empty GObject with one reference, and goes away with its last one",
       .relies = "The settings, the request and what is granted are released once, and nothing is kept",
       .run = check_references},
      {.name = "Maps.Booleans",
       .expects = "A boolean is read back as it was set; its variant is one byte, 0 or 1",
       .relies = "Every switch, and \"empty\" in a frame's extra information, which counts with one byte only",
       .run = check_booleans},
      {.name = "Maps.Unsigned",
       .expects = "An unsigned is read back in all its 32 bits; its variant is four bytes in host order",
       .relies = "Every option that takes a number or a word; buffer strategy 4 is told by these four bytes",
       .run = check_unsigned},
      {.name = "Maps.Doubles",
       .expects = "A double is read back to its last bit; its variant is eight bytes",
       .relies = "--framerate, and the durations in the Matroska file",
       .run = check_doubles},
      {.name = "Maps.Strings",
       .expects = "Key and text are copied; the variant is the text and a zero",
       .relies = "Every option that takes a text: the client's own is gone when the stream is made",
       .run = check_strings},
      {.name = "Maps.Pairs",
       .expects = "A pair handed over by value arrives whole; its variant is eight bytes",
       .relies = "The resolution",
       .run = check_pairs},
      {.name = "Maps.Quads",
       .expects = "A quad handed over by value arrives whole; its variant is sixteen bytes",
       .relies = "The crop, --segment.duration and --segment.bytes",
       .run = check_quads},
      {.name = "Maps.Replacing",
       .expects = "A setter replaces what the key held, of whatever type",
       .relies = "An option that is given twice: the last one counts",
       .run = check_replacing},
      {.name = "Maps.Defaults",
       .expects = "A getter gives the default for an absent key and for one of another type",
       .relies = "What was not asked for and what the service does not say: formats, rates, buffer counts",
       .run = check_defaults},
      {.name = "Maps.VariantReferences",
       .expects = "A variant comes with a reference of its own, the default too, and stays as it is",
       .relies = "The client releases every variant that it gets",
       .run = check_variant_references},
      {.name = "Maps.Contains",
       .expects = "zel_map_contains_va looks at all keys up to NULL",
       .relies = "A crop is folded only when it has width and height; the frame rate is automatic without one",
       .run = check_contains},
      {.name = "Maps.Copying",
       .expects = "A copied value keeps its type and replaces the target's; without a source nothing happens",
       .relies = "--dynamic, which switches seven settings",
       .run = check_copying},
      {.name = "Maps.Removing",
       .expects = "Keys that begin with a prefix are removed, no others",
       .relies = "The folded crop replaces its four settings",
       .run = check_removing},
      {.name = "Maps.Merging",
       .expects = "Merging copies every value over those of the destination and leaves the source alone",
       .relies = "The request that is printed before the stream is made",
       .run = check_merging},
      {.name = "Maps.Dumping",
       .expects = "A dump goes to the C library's standard output and names the keys",
       .relies = "What is printed under request, settings and info, and of events and extra information",
       .run = check_dumping},
  };
}

}  // namespace compliance
