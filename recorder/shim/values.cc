// Variants that may be gone after the call.
#include "recorder/shim/values.h"

namespace recorder {

VariantCopy snapshot(GVariant *variant) {
  VariantCopy copy;
  if (variant == nullptr) return copy;
  copy.is_there = true;
  const char *type = g_variant_get_type_string(variant);
  if (std::strlen(type) < sizeof copy.type) std::memcpy(copy.type, type, std::strlen(type));
  copy.size = g_variant_get_size(variant);
  if (copy.size > sizeof copy.bytes) copy.size = 0;
  if (copy.size != 0) g_variant_store(variant, copy.bytes);
  return copy;
}

}  // namespace recorder
