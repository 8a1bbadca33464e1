/* The coded pictures that the stub libzel delivers and that the client's peers write. They repeat without end.
 *
 * Environment variables choose them:
 *
 *     ZEL_STUB_SIZE    one picture of so many made-up bytes, called JPEG; 16384 bytes when neither variable is set
 *     ZEL_STUB_STREAM  the pictures of a raw H.264 stream, FILE, that was stored with its sidecar, FILE.meta
 */
#ifndef ZEL_BENCH_PICTURES_H
#define ZEL_BENCH_PICTURES_H

#include <glib.h>

G_BEGIN_DECLS

/** One picture. */
typedef struct {
  const guint8 *data;  /**< the pictures' own */
  gsize size;          /**< bytes, header included */
  guint32 header_size; /**< bytes of codec header at its start; 0: none */
  gboolean key;
} Picture;

typedef struct {
  GBytes *bytes;     /**< what the pictures point into */
  Picture *pictures; /**< owned; `count` of them, at least 1 */
  gsize count;
  guint32 format; /**< as zel_format_get_type() numbers them: 0 H.264, 2 JPEG */
} Pictures;

/** When the stub libzel captures the frame of that number, in us: a frame period of 30 frames a second apart. */
static inline gint64 picture_time(guint64 number) {
  return (gint64)(1000000 + number * 33333);
}

/** Reads the pictures. The caller frees them with free_pictures(). Ends the process with a message when it cannot. */
Pictures *load_pictures(void);

/** Does nothing for NULL. */
void free_pictures(Pictures *pictures);

G_END_DECLS

#endif
