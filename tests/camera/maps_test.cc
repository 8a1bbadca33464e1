// Maps, enumerations and errors, as far as zel-compliance does not look at them.
#include <gtest/gtest.h>

#include <cstring>

#include "support/camera_fixture.h"

namespace {

using MapTest = CameraTest;

/// The serialised bytes of a value.
std::vector<std::uint8_t> serialised(const zel_map *map, const char *key) {
  GVariant *variant = zel_map_get_variant(map, key, nullptr);
  if (variant == nullptr) return {};
  const auto *data = static_cast<const std::uint8_t *>(g_variant_get_data(variant));
  std::vector<std::uint8_t> bytes(data, data + g_variant_get_size(variant));
  g_variant_unref(variant);
  return bytes;
}

template <typename Number>
std::vector<std::uint8_t> bytes_of(std::initializer_list<Number> numbers) {
  std::vector<std::uint8_t> bytes(sizeof(Number) * numbers.size());
  std::memcpy(bytes.data(), numbers.begin(), bytes.size());
  return bytes;
}

// A boolean setter that kept the integer would give a variant that no reader of booleans accepts.
TEST_F(MapTest, BooleansAreNormalised) {
  const MapRef map(zel_map_new());
  zel_map_set_boolean(map.get(), "b", 2);
  EXPECT_EQ(zel_map_get_boolean(map.get(), "b", 7), TRUE);
  EXPECT_EQ(serialised(map.get(), "b"), bytes_of<std::uint8_t>({1}));
}

// The dump is read by people and by tests: its order and format are fixed.
TEST_F(MapTest, DumpReadsTheSameEveryTime) {
  const MapRef map = request({{"s", "text"},
                              {"resolution", zel_pair32u{640, 480}},
                              {"framerate", 29.97},
                              {"b", true},
                              {"crop", zel_quad32u{1, 2, 3, 4}},
                              {"u", guint32{7}}});
  ::testing::internal::CaptureStdout();
  zel_map_dump(map.get());
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "b = true\n"
            "crop = (1, 2, 3, 4)\n"
            "framerate = 29.97\n"
            "resolution = (640, 480)\n"
            "s = 'text'\n"
            "u = 7\n");
}

// Command lines carry bytes that are not UTF-8; a variant must not.
TEST_F(MapTest, TextThatIsNotUtf8BecomesReadable) {
  const MapRef map = request({{"s", "a\xFF"}});
  EXPECT_EQ(serialised(map.get(), "s"), bytes_of<char>({'a', '\xEF', '\xBF', '\xBD', 0}));
}

TEST_F(MapTest, AMapMergedIntoItselfStaysAsItIs) {
  const MapRef map = request({{"a", guint32{1}}});
  zel_map_merge(map.get(), map.get());
  EXPECT_EQ(zel_map_get_uint32(map.get(), "a", 0), 1U);
}

TEST_F(MapTest, NullsAreIgnored) {
  const MapRef map(zel_map_new());
  zel_map_set_uint32(nullptr, "k", 1);
  zel_map_set_uint32(map.get(), nullptr, 1);
  zel_map_set_string(map.get(), "k", nullptr);
  zel_map_copy_value(map.get(), nullptr, "k");
  zel_map_copy_value(nullptr, "k", "k");
  zel_map_remove_prefix(map.get(), nullptr);
  zel_map_merge(nullptr, map.get());
  zel_map_merge(map.get(), nullptr);
  zel_map_dump(nullptr);
  EXPECT_EQ(zel_map_get_uint32(nullptr, "k", 3), 3U);
  EXPECT_EQ(zel_map_get_variant(map.get(), nullptr, nullptr), nullptr);
  EXPECT_FALSE(zel_map_contains_va(map.get(), "k", nullptr));
  EXPECT_FALSE(zel_map_contains_va(nullptr, "k", nullptr));
  EXPECT_TRUE(zel_map_contains_va(map.get(), nullptr)) << "no key is missing";
}

guint32 value_of(GType type, const char *nick) {
  auto *enumeration = static_cast<GEnumClass *>(g_type_class_ref(type));
  const GEnumValue *value = g_enum_get_value_by_nick(enumeration, nick);
  const guint32 number = value != nullptr ? static_cast<guint32>(value->value) : 12345;
  g_type_class_unref(enumeration);
  return number;
}

// These numbers are written into files and compared by clients.
TEST_F(MapTest, FixedEnumerationValues) {
  EXPECT_EQ(value_of(zel_format_get_type(), "h264"), 0U);
  EXPECT_EQ(value_of(zel_format_get_type(), "h265"), 1U);
  EXPECT_EQ(value_of(zel_format_get_type(), "jpeg"), 2U);
  EXPECT_EQ(value_of(zel_format_get_type(), "av1"), 10U);
  EXPECT_EQ(value_of(zel_format_get_type(), "unknown"), 0xFFFFFFFFU);
  EXPECT_EQ(value_of(zel_timestamp_get_type(), "monotonic"), 0U);
  EXPECT_EQ(value_of(zel_timestamp_get_type(), "utc"), 1U);
  EXPECT_GE(value_of(zel_timestamp_get_type(), "elapsed"), 2U);
  EXPECT_EQ(value_of(zel_buffer_strategy_get_type(), "service"), 4U);
  EXPECT_EQ(value_of(zel_buffer_access_get_type(), "read") & 1U, 1U);
}

// A report keeps 8 columns for the types of H.264 and H.265, 9 for those of AV1.
TEST_F(MapTest, FrameTypeNicksFitTheirColumns) {
  auto *enumeration = static_cast<GEnumClass *>(g_type_class_ref(zel_frame_type_get_type()));
  for (guint i = 0; i < enumeration->n_values; ++i) {
    const bool is_av1 = enumeration->values[i].value >= 32 && enumeration->values[i].value < 48;
    EXPECT_LE(std::strlen(enumeration->values[i].value_nick), is_av1 ? 9U : 8U);
  }
  g_type_class_unref(enumeration);
}

// A copy of an error must still be an expected one.
TEST_F(MapTest, ExpectedErrorsStayExpected) {
  configure("[fault lost]\ncall=zel_stream_new\ncode=5\nexpected=true\nmessage=Over");
  const MapRef map(zel_map_new());
  GError *error = nullptr;
  EXPECT_EQ(zel_stream_new(map.get(), nullptr, &error), nullptr);
  GError *copy = g_error_copy(error);
  EXPECT_EQ(error->domain, zel_error_quark());
  EXPECT_TRUE(zel_error_is_expected(&error));
  EXPECT_TRUE(zel_error_is_expected(&copy));
  g_clear_error(&error);
  EXPECT_FALSE(zel_error_is_expected(&error));
  EXPECT_FALSE(zel_error_is_expected(nullptr));
  g_error_free(copy);
  GError *own = g_error_new_literal(zel_error_quark(), 17, "A client's own");
  EXPECT_FALSE(zel_error_is_expected(&own));
  g_error_free(own);
}

}  // namespace
