// GObject types around C++ state, and the numbers by which objects appear in the log.
#ifndef ZEL_CAMERA_OBJECT_H
#define ZEL_CAMERA_OBJECT_H

#include <glib-object.h>

#include <cstdint>
#include <memory>
#include <type_traits>

#include "zel/zel.h"

namespace camera {

/// Registers the final type of `Object`: a struct that begins with a GObject `parent` and goes on with a C++ member
/// `state`, which is constructed and destroyed with the instance. Object::kTypeName names the type.
template <typename Object>
GType object_type() {
  using State = decltype(Object::state);
  // It is constructed in a callback of GLib, which no exception may leave.
  static_assert(std::is_nothrow_default_constructible_v<State>);
  static const GType type = [] {
    GTypeInfo info{};
    info.class_size = sizeof(GObjectClass);
    info.instance_size = sizeof(Object);
    info.instance_init = [](GTypeInstance *instance, gpointer) {
      std::construct_at(&reinterpret_cast<Object *>(instance)->state);
    };
    info.class_init = [](gpointer klass, gpointer) {
      static_cast<GObjectClass *>(klass)->finalize = [](GObject *object) {
        std::destroy_at<State>(&reinterpret_cast<Object *>(object)->state);
        G_OBJECT_CLASS(g_type_class_peek(G_TYPE_OBJECT))->finalize(object);
      };
    };
    return g_type_register_static(G_TYPE_OBJECT, Object::kTypeName, &info, G_TYPE_FLAG_FINAL);
  }();
  return type;
}

/// A new instance with one reference, the caller's.
template <typename Object>
Object *new_object() {
  return static_cast<Object *>(g_object_new(object_type<Object>(), nullptr));
}

struct ObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};

/// One owned reference.
template <typename Object>
using Ref = std::unique_ptr<Object, ObjectUnref>;

/// One more reference to an object that the caller already holds.
template <typename Object>
Ref<Object> add_ref(Object *object) {
  return Ref<Object>(static_cast<Object *>(g_object_ref(object)));
}

}  // namespace camera

#endif
