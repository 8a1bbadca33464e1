// What the binary interface and the files need on every machine: checked when this is compiled.
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <type_traits>

#include "zel/zel.h"

// Output files may be larger than 2 GiB.
static_assert(sizeof(off_t) == 8);

// Times reach beyond 2038 wherever the C library can.
#if defined(__USE_TIME_BITS64) || defined(__LP64__)
static_assert(sizeof(std::time_t) == 8);
#endif

// Sizes of frames and chunks are the library's gsize.
static_assert(sizeof(gsize) == sizeof(void *) && sizeof(std::size_t) == sizeof(gsize));
static_assert(sizeof(gint) == 4 && sizeof(gboolean) == 4 && sizeof(gdouble) == 8);

static_assert(sizeof(zel_pair32u) == 8 && alignof(zel_pair32u) == 4);
static_assert(sizeof(zel_quad32u) == 16 && alignof(zel_quad32u) == 4);
static_assert(offsetof(zel_quad32u, second) == 4 && offsetof(zel_quad32u, fourth) == 12);
static_assert(offsetof(zel_chunk, data) == 0 && offsetof(zel_chunk, size) == sizeof(void *));
static_assert(offsetof(zel_chunk, mark) == 2 * sizeof(void *) && sizeof(zel_chunk) == 3 * sizeof(void *));
static_assert(std::is_trivially_copyable_v<zel_chunk> && std::is_standard_layout_v<zel_chunk>);
