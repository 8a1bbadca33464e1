// A libzel that spoils one thing: the software camera behind another name, and in front of it a few calls that hand on
// what they get, but for the one fault that the environment variable ZEL_SPOIL names.
#ifndef ZEL_TEST_SPOIL_H
#define ZEL_TEST_SPOIL_H

#include <dlfcn.h>

#include <cstdlib>
#include <functional>
#include <string_view>
#include <vector>

#include "zel/zel.h"

/// Whether this run has that fault.
inline bool spoils(std::string_view fault) {
  const char *chosen = std::getenv("ZEL_SPOIL");
  return chosen != nullptr && fault == chosen;
}

/// The software camera's function of that name.
template <typename Function>
Function *behind(Function * /*own*/, const char *name) {
  static void *const camera = dlopen("libzel-behind.so.1", RTLD_NOW | RTLD_NOLOAD);
  return reinterpret_cast<Function *>(dlsym(camera, name));
}
#define BEHIND(function) behind(&(function), #function)

/// A number that an object carries.
inline gintptr number_of(gpointer object, const char *name) {
  return reinterpret_cast<gintptr>(g_object_get_data(G_OBJECT(object), name));
}
inline void set_number(gpointer object, const char *name, gintptr number) {
  g_object_set_data(G_OBJECT(object), name, reinterpret_cast<gpointer>(number));
}

/// Whether the latest stream's buffer access lets the client read the data; written when a stream is made.
inline bool is_readable = true;

/// Ends a process that is a copy of the one that opened the library, if opening began something.
void expect_owner();

#define SPOILED extern "C" __attribute__((visibility("default")))

#endif
