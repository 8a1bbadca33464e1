// The interface's structs on their way between C and C++, by value as the binary interface says.
#include <gtest/gtest.h>

#include "fake_zel.h"
#include "interface_c.h"
#include "zel/zel.h"

namespace {

std::string printed(const zel_map *map, const char *key) {
  GVariant *value = zel_map_get_variant(map, key, nullptr);
  if (value == nullptr) return "none";
  gchar *text = g_variant_print(value, FALSE);
  std::string result = text;
  g_free(text);
  g_variant_unref(value);
  return result;
}

}  // namespace

// Catches arguments that go into other registers or stack slots than the caller's compiler puts them.
TEST(Interface, StructsArriveByValue) {
  fake::reset();
  const fake::MapPtr map(zel_map_new());
  c_store_values(map.get());
  EXPECT_EQ(printed(map.get(), "pair"), "(16909060, 4059231220)");
  EXPECT_EQ(printed(map.get(), "quad"), "(1, 4294967295, 3, 2147483648)");
  EXPECT_EQ(printed(map.get(), "unsigned"), "4294967295");
  EXPECT_EQ(zel_map_get_double(map.get(), "double", 0), 29.97);
}

// Catches chunks and 64-bit numbers that come back cut or in other places.
TEST(Interface, ChunksReturnByValue) {
  fake::reset();
  const fake::BufferPtr buffer =
      fake::make_buffer({.payload = {1, 2, 3}, .failing_chunk = 1, .timestamp = 0xF102030405060708});
  const zel_chunk chunk = c_take_chunk(buffer.get());
  EXPECT_EQ(chunk.data, fake::payload_of(buffer.get()));
  EXPECT_EQ(chunk.size, 3U);
  EXPECT_NE(chunk.mark, G_MININT32);
  EXPECT_EQ(c_take_chunk(buffer.get()).mark, G_MININT32);
  EXPECT_EQ(c_timestamp(buffer.get()), 0xF102030405060708U);
}
