/* The stub libzel's enumerations of settings, and what it does at the first call. The stub never looks at a setting's
 * value: one enumeration stands for all of them. */
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include "stub.h"
#include "zel/zel.h"

static GType choice(void) {
  static const GEnumValue values[] = {{0, "none", "none"}, {0, NULL, NULL}};
  static GType type;
  if (type == 0) type = g_enum_register_static("stub_choice", values);
  return type;
}

#define CHOICE(name)            \
  GType name##_get_type(void) { \
    return choice();            \
  }
CHOICE(zel_format)
CHOICE(zel_h264_profile)
CHOICE(zel_h265_profile)
CHOICE(zel_rate_control_mode)
CHOICE(zel_rate_control_priority)
CHOICE(zel_timestamp)
CHOICE(zel_buffer_access)
CHOICE(zel_buffer_strategy)
CHOICE(zel_lumostream_profile)
CHOICE(zel_lumostream_gdr)

void stub_report_first_call(void) {
  const char *descriptor = getenv("ZEL_STUB_FIRST");
  if (descriptor == NULL) return;
  struct timespec now = {0};
  (void)clock_gettime(CLOCK_MONOTONIC, &now);
  const gint64 nanoseconds = (gint64)now.tv_sec * 1000000000 + now.tv_nsec;
  if (write((int)strtol(descriptor, NULL, 10), &nanoseconds, sizeof nanoseconds) < 0) _exit(1);
  _exit(0);
}
