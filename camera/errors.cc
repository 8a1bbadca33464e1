// The library's error domain.
#include "zel/zel.h"

G_BEGIN_DECLS

__attribute__((visibility("default"))) GQuark zel_error_quark(void) {
  return g_quark_from_static_string("zel-error-quark");
}

G_END_DECLS
