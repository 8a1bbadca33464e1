// The fake libzel itself: what the other units rely on.
#include "fake_zel.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "tests/support/error_slot.h"

namespace {

class FakeZel : public testing::Test {
 protected:
  void SetUp() override {
    fake::reset();
    before_ = fake::live_objects();
  }
  void TearDown() override {
    fake::reset();
    EXPECT_EQ(fake::live_objects(), before_);
  }

 private:
  fake::LiveObjects before_;  // the client's settings map lives as long as the program
};

gsize serialised_size(zel_map *map, const char *key) {
  GVariant *value = zel_map_get_variant(map, key, nullptr);
  if (value == nullptr) return 0;
  const gsize size = g_variant_get_size(value);
  g_variant_unref(value);
  return size;
}

// Catches a map whose values have other widths than the library's, on which the client's byte comparisons rest.
TEST_F(FakeZel, MapKeepsTypesAndWidths) {
  const fake::MapPtr map(zel_map_new());
  zel_map_set_boolean(map.get(), "b", TRUE);
  zel_map_set_uint32(map.get(), "u", 4);
  zel_map_set_double(map.get(), "d", 0.5);
  zel_map_set_string(map.get(), "s", "abc");
  zel_map_set_pair32u(map.get(), "p", {1, 2});
  zel_map_set_quad32u(map.get(), "q", {1, 2, 3, 4});
  EXPECT_EQ(serialised_size(map.get(), "b"), 1u);
  EXPECT_EQ(serialised_size(map.get(), "u"), 4u);
  EXPECT_EQ(serialised_size(map.get(), "d"), 8u);
  EXPECT_EQ(serialised_size(map.get(), "s"), 4u);
  EXPECT_EQ(serialised_size(map.get(), "p"), 8u);
  EXPECT_EQ(serialised_size(map.get(), "q"), 16u);
  EXPECT_EQ(zel_map_get_uint32(map.get(), "u", 9), 4u);
  EXPECT_EQ(zel_map_get_uint32(map.get(), "b", 9), 9u);  // another type
  EXPECT_EQ(zel_map_get_double(map.get(), "d", 9), 0.5);
  EXPECT_EQ(zel_map_get_boolean(map.get(), "none", TRUE), TRUE);
}

// Catches wrong key handling in the operations that settings finishing is made of.
TEST_F(FakeZel, MapCopiesRemovesMergesAndDumps) {
  const fake::MapPtr map(zel_map_new());
  zel_map_set_uint32(map.get(), "crop.x", 1);
  zel_map_set_uint32(map.get(), "cropped", 2);
  zel_map_copy_value(map.get(), "cropped", "copy");
  zel_map_copy_value(map.get(), "none", "copy");
  zel_map_remove_prefix(map.get(), "crop.");
  EXPECT_FALSE(zel_map_contains_va(map.get(), "crop.x", NULL));
  EXPECT_TRUE(zel_map_contains_va(map.get(), "cropped", "copy", NULL));
  EXPECT_FALSE(zel_map_contains_va(map.get(), "cropped", "none", NULL));

  const fake::MapPtr other(zel_map_new());
  zel_map_set_string(other.get(), "copy", "text");
  zel_map_merge(map.get(), other.get());
  testing::internal::CaptureStdout();
  zel_map_dump(map.get());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "copy: 'text'\ncropped: 2\n");
  EXPECT_EQ(fake::calls().back(), "zel_map_dump");
}

// Catches a chunk cursor that does not follow the scripted layout, or wraps round.
TEST_F(FakeZel, ChunksFollowTheLayout) {
  const fake::BufferPtr buffer =
      fake::make_buffer({.payload = {1, 2, 3, 4, 5}, .chunks = {2, 2, 1}, .failing_chunk = 2, .null_chunk = 1});
  ErrorSlot slot;
  const zel_chunk first = zel_frame_take_chunk(buffer.get(), nullptr);
  EXPECT_EQ(first.data, fake::payload_of(buffer.get()));
  EXPECT_EQ(first.size, 2u);
  const zel_chunk second = zel_frame_take_chunk_ex(buffer.get(), 0x80000000);
  EXPECT_EQ(second.data, nullptr);
  EXPECT_EQ(second.size, 2u);
  EXPECT_EQ(zel_frame_take_chunk(buffer.get(), slot.address()).mark, G_MININT32);
  ASSERT_NE(slot.get(), nullptr);
  EXPECT_EQ(slot.get()->domain, zel_error_quark());
  EXPECT_EQ(fake::calls().at(1), "zel_frame_take_chunk_ex buffer=0 flags=0x80000000");
}

// Catches a frame whose extra info cannot carry values of a width that no setter makes.
TEST_F(FakeZel, ExtraInfoOfAnyWidth) {
  const fake::BufferPtr buffer = fake::make_buffer(
      {.extra_info = [](zel_map *map) { fake::map_set_variant(map, "empty", g_variant_new_uint16(1)); }});
  EXPECT_EQ(serialised_size(zel_frame_get_extra_info(buffer.get()), "empty"), 2u);
}

// Catches fetches out of order, lost errno and a script whose end would block or loop.
TEST_F(FakeZel, FetchesFollowTheQueue) {
  const fake::MapPtr settings(zel_map_new());
  const fake::StreamPtr stream(zel_stream_new(settings.get(), nullptr, nullptr));
  zel_buffer *buffer = zel_stream_buffer_alloc(stream.get(), nullptr, nullptr);
  ASSERT_TRUE(zel_stream_buffer_enqueue(stream.get(), buffer, nullptr));
  EXPECT_EQ(fake::enqueued_buffers(), 1u);

  bool acted = false;
  fake::queue_action([&acted] { acted = true; });
  fake::queue_frame({.payload = {7}, .sequence = 5});
  fake::queue_fetch_error({.code = 13, .cause = EINTR});
  fake::queue_fetch_null();

  const fake::BufferPtr filled(zel_stream_get_buffer(stream.get(), nullptr));
  EXPECT_TRUE(acted);
  EXPECT_EQ(filled.get(), buffer);
  EXPECT_EQ(zel_frame_get_sequence_nbr(zel_buffer_get_frame(filled.get())), 5u);
  EXPECT_EQ(fake::enqueued_buffers(), 0u);

  ErrorSlot slot;
  EXPECT_EQ(zel_stream_get_buffer(stream.get(), slot.address()), nullptr);
  EXPECT_EQ(errno, EINTR);
  EXPECT_TRUE(g_error_matches(slot.get(), zel_error_quark(), 13));
  EXPECT_FALSE(zel_error_is_expected(slot.address()));
  (void)slot.take();
  EXPECT_EQ(zel_stream_get_buffer(stream.get(), slot.address()), nullptr);
  EXPECT_EQ(slot.get(), nullptr);
  EXPECT_EQ(zel_stream_get_buffer(stream.get(), slot.address()), nullptr);
  EXPECT_TRUE(zel_error_is_expected(slot.address()));
  EXPECT_TRUE(zel_stream_buffer_unref(stream.get(), &buffer, nullptr));
  EXPECT_EQ(buffer, nullptr);
}

// Catches a scripted failure that hits another use than the one asked for.
TEST_F(FakeZel, NthUseFails) {
  const fake::MapPtr settings(zel_map_new());
  const fake::StreamPtr stream(zel_stream_new(settings.get(), nullptr, nullptr));
  fake::fail("zel_stream_start", 2, {.code = 8, .message = "no"});
  fake::fail("zel_stream_force_key_frame", 0);
  ErrorSlot slot;
  EXPECT_TRUE(zel_stream_start(stream.get(), slot.address()));
  EXPECT_FALSE(zel_stream_start(stream.get(), slot.address()));
  EXPECT_STREQ(slot.get()->message, "no");
  EXPECT_TRUE(zel_stream_start(stream.get(), nullptr));
  EXPECT_FALSE(zel_stream_force_key_frame(stream.get(), nullptr));
  EXPECT_FALSE(zel_stream_force_key_frame(stream.get(), nullptr));
  EXPECT_EQ(fake::calls("zel_stream_start").size(), 3u);
}

// Catches an enumeration that cannot be looked up both ways.
TEST_F(FakeZel, EnumerationsHaveNicks) {
  auto *type = static_cast<GEnumClass *>(g_type_class_ref(zel_format_get_type()));
  EXPECT_EQ(g_enum_get_value_by_nick(type, "av1")->value, 10);
  EXPECT_STREQ(g_enum_get_value(type, 0)->value_nick, "h264");
  EXPECT_EQ(g_enum_get_value(type, 99), nullptr);
  g_type_class_unref(type);
}

}  // namespace
