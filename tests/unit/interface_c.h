// What interface_c.c calls for the tests.
#ifndef ZEL_CLIENT_TESTS_UNIT_INTERFACE_C_H
#define ZEL_CLIENT_TESTS_UNIT_INTERFACE_C_H

#include "zel/zel.h"

G_BEGIN_DECLS

void c_store_values(zel_map *map);
zel_chunk c_take_chunk(zel_frame *frame);
guint64 c_timestamp(zel_frame *frame);

G_END_DECLS

#endif
