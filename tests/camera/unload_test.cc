// The library in a program that opens and closes it while it runs.
#include <dlfcn.h>
#include <glib-object.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "zel/zel.h"

/// LeakSanitizer ends with signal 11 when it looks at the libraries that a closed one leaves behind.
extern "C" const char *__asan_default_options() {
  return "detect_leaks=0";
}

namespace {

/// The library's call of that name.
template <typename Function>
Function call(void *library, const char *name) {
  return reinterpret_cast<Function>(dlsym(library, name));
}

void use(void *library) {
  zel_map *map = call<decltype(&zel_map_new)>(library, "zel_map_new")();
  ASSERT_NE(map, nullptr);
  zel_stream *stream = call<decltype(&zel_stream_new)>(library, "zel_stream_new")(map, nullptr, nullptr);
  ASSERT_NE(stream, nullptr);
  g_object_unref(stream);
  g_object_unref(map);
}

// GLib keeps the registered types, so the library must stay loaded after dlclose().
TEST(Unload, AClosedLibraryMayBeOpenedAgain) {
  unsetenv("ZEL_CAMERA");
  for (int i = 0; i < 2; ++i) {
    void *library = dlopen(ZEL_TEST_CAMERA_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    use(library);
    ASSERT_EQ(dlclose(library), 0);
    EXPECT_NE(g_type_from_name("zel_map"), G_TYPE_INVALID);
    EXPECT_NE(g_object_new(g_type_from_name("zel_map"), nullptr), nullptr);
  }
}

}  // namespace
