// Calls the interface as a C program does.
#include "interface_c.h"

void c_store_values(zel_map *map) {
  const zel_pair32u pair = {0x01020304u, 0xF1F2F3F4u};
  const zel_quad32u quad = {1u, 0xFFFFFFFFu, 3u, 0x80000000u};
  zel_map_set_pair32u(map, "pair", pair);
  zel_map_set_quad32u(map, "quad", quad);
  zel_map_set_double(map, "double", 29.97);
  zel_map_set_uint32(map, "unsigned", 0xFFFFFFFFu);
}

zel_chunk c_take_chunk(zel_frame *frame) {
  GError *error = NULL;
  const zel_chunk chunk = zel_frame_take_chunk(frame, &error);
  g_clear_error(&error);
  return chunk;
}

guint64 c_timestamp(zel_frame *frame) {
  return zel_frame_get_timestamp(frame);
}
