/* Reading the pictures. */
#include "pictures.h"

#include <string.h>

enum { kRecordBytes = 24, kSizeOffset = 16, kHeaderSizeOffset = 20, kMadeUpBytes = 16384, kH264 = 0, kJpeg = 2 };

static guint32 number_at(const gchar *record, gsize offset) {
  guint32 number = 0;
  memcpy(&number, record + offset, sizeof number);
  return GUINT32_FROM_LE(number);
}

static GBytes *read_file(const gchar *name) {
  gchar *data = NULL;
  gsize size = 0;
  GError *error = NULL;
  if (!g_file_get_contents(name, &data, &size, &error)) g_error("%s", error->message);
  return g_bytes_new_take(data, size);
}

/* A sidecar ends with four bytes that count its records. */
static void take_stream(Pictures *loop, const gchar *name) {
  loop->format = kH264;
  loop->bytes = read_file(name);
  gchar *sidecar_name = g_strconcat(name, ".meta", NULL);
  GBytes *sidecar = read_file(sidecar_name);
  gsize sidecar_size = 0;
  const gchar *records = g_bytes_get_data(sidecar, &sidecar_size);
  loop->count = sidecar_size / kRecordBytes;
  loop->pictures = g_new0(Picture, loop->count);
  gsize stream_size = 0;
  const guint8 *stream = g_bytes_get_data(loop->bytes, &stream_size);
  gsize offset = 0;
  for (gsize i = 0; i < loop->count; ++i) {
    const gchar *record = records + i * kRecordBytes;
    const gsize size = number_at(record, kSizeOffset);
    const guint32 header_size = number_at(record, kHeaderSizeOffset);
    if (size > stream_size - offset) g_error("%s does not fit %s", sidecar_name, name);
    // In such a stream the pictures with a codec header are the key frames.
    loop->pictures[i] =
        (Picture){.data = stream + offset, .size = size, .header_size = header_size, .key = header_size > 0};
    offset += size;
  }
  if (loop->count == 0) g_error("%s has no records", sidecar_name);
  g_bytes_unref(sidecar);
  g_free(sidecar_name);
}

static void make_up(Pictures *loop, const gchar *size_text) {
  const gsize size = size_text != NULL ? (gsize)g_ascii_strtoull(size_text, NULL, 10) : kMadeUpBytes;
  guint8 *data = g_malloc(size);
  memset(data, 0x5a, size);
  loop->format = kJpeg;
  loop->bytes = g_bytes_new_take(data, size);
  loop->count = 1;
  loop->pictures = g_new0(Picture, 1);
  loop->pictures[0] = (Picture){.data = data, .size = size, .header_size = 0, .key = TRUE};
}

Pictures *load_pictures(void) {
  Pictures *loop = g_new0(Pictures, 1);
  const gchar *stream = g_getenv("ZEL_STUB_STREAM");
  if (stream != NULL) {
    take_stream(loop, stream);
  } else {
    make_up(loop, g_getenv("ZEL_STUB_SIZE"));
  }
  return loop;
}

void free_pictures(Pictures *pictures) {
  if (pictures == NULL) return;
  g_bytes_unref(pictures->bytes);
  g_free(pictures->pictures);
  g_free(pictures);
}
