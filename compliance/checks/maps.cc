// Maps: settings, and all that the library says in keys and values.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <memory>
#include <string>

#include "common/owned.h"
#include "compliance/checks/check.h"
#include "compliance/common/expect.h"
#include "compliance/support/stream.h"

namespace compliance {
namespace {

MapPtr new_map() {
  MapPtr map(zel().map_new());
  require(map != nullptr, "zel_map_new gave NULL, expected a map");
  return map;
}

/// The bytes of a value's variant; a Finding when it has none.
Bytes serialised(const MapPtr &map, const char *key) {
  const VariantPtr variant(zel().map_get_variant(map.get(), key, nullptr));
  require(variant != nullptr, std::string("zel_map_get_variant gave NULL for \"") + key + "\", expected what was set");
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

/// That "key" holds these bytes.
void expect_variant(const std::string &what, const MapPtr &map, const Bytes &expected) {
  expect_equal("the variant of " + what, serialised(map, "key"), expected);
}

void check_references() {
  zel_map *map = zel().map_new();
  require(map != nullptr, "zel_map_new gave NULL, expected a map");
  require(G_IS_OBJECT(map), "zel_map_new gave something else, expected a GObject");
  expect_truth("whether a new map has the key \"key\"",
               contains(MapPtr(static_cast<zel_map *>(g_object_ref(map))), "key"), false);
  gpointer alive = map;
  g_object_add_weak_pointer(G_OBJECT(map), &alive);
  g_object_ref(map);
  g_object_unref(map);
  require(alive != nullptr, "a map of two references went away with one of them, expected it to stay");
  g_object_unref(map);
  expect(alive == nullptr, "a new map stayed when one reference was released, expected it to go away with it");
}

void check_booleans() {
  const MapPtr map = new_map();
  for (const bool value : {true, false}) {
    zel().map_set_boolean(map.get(), "key", value ? TRUE : FALSE);
    const std::string what = "a boolean that was set to " + shown(value);
    expect_truth(what + ", read back,", zel().map_get_boolean(map.get(), "key", value ? FALSE : TRUE), value);
    expect_variant(what, map, {static_cast<std::uint8_t>(value ? 1 : 0)});
  }
}

void check_unsigned() {
  const MapPtr map = new_map();
  for (const guint32 value : {0U, 1U, 0x01020304U, 0x80000000U, 0xFFFFFFFFU}) {
    zel().map_set_uint32(map.get(), "key", value);
    const std::string what = "an unsigned that was set to " + shown(value);
    expect_equal(what + ", read back,", zel().map_get_uint32(map.get(), "key", ~value), value);
    expect_variant(what, map, bytes_of({value}));
  }
}

void check_doubles() {
  const MapPtr map = new_map();
  for (const double value : {0.0, 29.97, -0.5, 1e-300, std::numeric_limits<double>::max()}) {
    zel().map_set_double(map.get(), "key", value);
    const std::string what = "a double that was set to " + shown(value);
    expect_equal(what + ", read back,", zel().map_get_double(map.get(), "key", 4.0), value);
    expect_variant(what, map, bytes_of({value}));
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
    expect_variant("the text \"" + std::string(value) + "\" (with its zero)", map,
                   Bytes(value, value + std::strlen(value) + 1));
  }
}

void check_pairs() {
  const MapPtr map = new_map();
  zel().map_set_pair32u(map.get(), "key", {.first = 0x11223344, .second = 0xFFEEDDCC});
  expect_variant("the pair 0x11223344, 0xffeeddcc", map, bytes_of<guint32>({0x11223344, 0xFFEEDDCC}));
}

void check_quads() {
  const MapPtr map = new_map();
  zel().map_set_quad32u(map.get(), "key", {.first = 1, .second = 0x22222222, .third = 0x333333, .fourth = 0xFFFFFFFF});
  expect_variant("the quad 1, 0x22222222, 0x333333, 0xffffffff", map,
                 bytes_of<guint32>({1, 0x22222222, 0x333333, 0xFFFFFFFF}));
}

void check_replacing() {
  const MapPtr map = new_map();
  zel().map_set_string(map.get(), "key", "text");
  zel().map_set_uint32(map.get(), "key", 7);
  expect_equal("an unsigned 7 that replaced a text", zel().map_get_uint32(map.get(), "key", 0), 7U);
  zel().map_set_double(map.get(), "key", 2.5);
  expect_equal("a double 2.5 that replaced an unsigned", zel().map_get_double(map.get(), "key", 0.0), 2.5);
  expect_variant("a double 2.5 that replaced an unsigned", map, bytes_of({2.5}));
}

void check_defaults() {
  const MapPtr map = new_map();
  expect_truth("an absent boolean with the default true", zel().map_get_boolean(map.get(), "absent", TRUE), true);
  expect_equal("an absent unsigned with the default 4294967295", zel().map_get_uint32(map.get(), "absent", 0xFFFFFFFF),
               0xFFFFFFFFU);
  expect_equal("an absent double with the default 0.25", zel().map_get_double(map.get(), "absent", 0.25), 0.25);
  const VariantPtr absent(zel().map_get_variant(map.get(), "absent", nullptr));
  expect(absent == nullptr, "an absent variant is some value, expected NULL");
  zel().map_set_uint32(map.get(), "unsigned", 1);
  zel().map_set_double(map.get(), "double", 1.0);
  expect_truth("an unsigned read as a boolean with the default false",
               zel().map_get_boolean(map.get(), "unsigned", FALSE), false);
  expect_equal("a double read as an unsigned with the default 9", zel().map_get_uint32(map.get(), "double", 9), 9U);
  expect_equal("an unsigned read as a double with the default 0.5", zel().map_get_double(map.get(), "unsigned", 0.5),
               0.5);
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
  require(got == given, "zel_map_get_variant gave something else for an absent key, expected the default");
  g_variant_unref(given);
  require(!freed, "the default came back without a reference of its own, expected one");
  g_variant_unref(got);
  expect(freed, "the default came back with several references, expected one");

  zel().map_set_uint32(map.get(), "key", 7);
  const VariantPtr value(zel().map_get_variant(map.get(), "key", nullptr));
  require(value != nullptr, "zel_map_get_variant gave NULL, expected what was set");
  zel().map_set_uint32(map.get(), "key", 8);
  expect_equal("a variant of 7 that was held while its key was set to 8", g_variant_get_uint32(value.get()), 7U);
}

void check_contains() {
  const MapPtr map = new_map();
  zel().map_set_boolean(map.get(), "crop.width", TRUE);
  zel().map_set_uint32(map.get(), "crop.height", 0);
  const std::string of = "zel_map_contains_va of ";
  const auto both = [&map](const char *first, const char *second) {
    return zel().map_contains_va(map.get(), first, second, nullptr);
  };
  expect_truth(of + "a key that is there", contains(map, "crop.width"), true);
  expect_truth(of + "the beginning of a key", contains(map, "crop"), false);
  expect_truth(of + "two keys that are there", both("crop.width", "crop.height"), true);
  expect_truth(of + "two keys, the first one absent,", both("crop.x", "crop.height"), false);
  expect_truth(of + "two keys, the second one absent,", both("crop.width", "crop.y"), false);
}

void check_copying() {
  const MapPtr map = new_map();
  zel().map_set_boolean(map.get(), "dynamic", TRUE);
  zel().map_set_uint32(map.get(), "key", 3);
  zel().map_copy_value(map.get(), "dynamic", "key");
  expect_variant("a true that was copied over an unsigned", map, {1});
  expect_truth("whether the source of a copy is still there", contains(map, "dynamic"), true);
  zel().map_copy_value(map.get(), "absent", "key");
  expect_variant("a true onto which an absent value was copied", map, {1});
}

void check_removing() {
  const MapPtr map = new_map();
  for (const char *key : {"crop", "crop.x", "crop.width", "cropped", "a.crop.x"})
    zel().map_set_uint32(map.get(), key, 1);
  zel().map_remove_prefix(map.get(), "crop.");
  const auto expect_there = [&map](const char *key, bool expected) {
    expect_truth("whether \"" + std::string(key) + "\" is there after \"crop.\" was removed", contains(map, key),
                 expected);
  };
  for (const char *key : {"crop.x", "crop.width"})
    expect_there(key, false);
  for (const char *key : {"crop", "cropped", "a.crop.x"})
    expect_there(key, true);
}

void check_merging() {
  const MapPtr source = new_map();
  const MapPtr destination = new_map();
  zel().map_set_uint32(source.get(), "both", 1);
  zel().map_set_double(source.get(), "source", 2.5);
  zel().map_set_boolean(destination.get(), "both", FALSE);
  zel().map_set_uint32(destination.get(), "destination", 3);
  zel().map_merge(destination.get(), source.get());
  const auto in_destination = [&](const char *key) { return zel().map_get_uint32(destination.get(), key, 0); };
  const std::string in = "in the destination of a merge, ";
  expect_equal(in + "the value that both had", in_destination("both"), 1U);
  expect_equal(in + "the value that the source had", zel().map_get_double(destination.get(), "source", 0), 2.5);
  expect_equal(in + "the value that only the destination had", in_destination("destination"), 3U);
  expect_truth("whether the source of a merge has got the destination's key", contains(source, "destination"), false);
  zel().map_set_uint32(source.get(), "both", 9);
  expect_equal(in + "the value 1 of both after the source's was set to 9", in_destination("both"), 1U);
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
  expect(text.find("bitrate") != std::string::npos,
         "zel_map_dump printed \"" + text + "\" to standard output, expected the key bitrate in it");
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
