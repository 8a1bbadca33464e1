// Tells the client's own calls from those of the libraries in its process.
#ifndef ZEL_CLIENT_TESTS_PRELOAD_OWN_CALLS_H
#define ZEL_CLIENT_TESTS_PRELOAD_OWN_CALLS_H

#include <dlfcn.h>
#include <link.h>
#include <stdbool.h>

/// Whether code at `address` (a return address) belongs to the program itself.
static inline bool in_the_program(const void *address) {
  Dl_info info;
  struct link_map *map = 0;
  if (dladdr1(address, &info, (void **)&map, RTLD_DL_LINKMAP) == 0 || map == 0) return true;
  return map->l_name == 0 || map->l_name[0] == '\0';
}

#endif
