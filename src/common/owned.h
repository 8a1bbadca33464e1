// Owning pointers for the C objects that the client holds.
#ifndef ZEL_CLIENT_COMMON_OWNED_H
#define ZEL_CLIENT_COMMON_OWNED_H

#include <glib-object.h>

#include <cstdlib>
#include <memory>

struct ObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
struct VariantUnref {
  void operator()(GVariant *variant) const { g_variant_unref(variant); }
};
struct ErrorFree {
  void operator()(GError *error) const { g_error_free(error); }
};
struct ClassUnref {
  void operator()(gpointer type_class) const { g_type_class_unref(type_class); }
};
struct Free {
  void operator()(void *memory) const { std::free(memory); }
};

/// One reference to a GObject (zel_map, zel_stream, zel_buffer), released with the pointer.
template <typename T>
using ObjectPtr = std::unique_ptr<T, ObjectUnref>;

/// One reference to a GVariant.
using VariantPtr = std::unique_ptr<GVariant, VariantUnref>;

/// One reference to the class of an enumeration type.
using EnumClassPtr = std::unique_ptr<GEnumClass, ClassUnref>;

using ErrorPtr = std::unique_ptr<GError, ErrorFree>;

/// The class of `type`, which is an enumeration; null when the library does not know the type.
inline EnumClassPtr enum_class(GType type) {
  return EnumClassPtr(static_cast<GEnumClass *>(g_type_class_ref(type)));
}

/// Text from the C library's allocator.
using TextPtr = std::unique_ptr<char, Free>;

#endif
