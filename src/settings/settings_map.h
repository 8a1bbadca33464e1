// The stream request: every setting given on the command line, under its key.
#ifndef ZEL_CLIENT_SETTINGS_SETTINGS_MAP_H
#define ZEL_CLIENT_SETTINGS_SETTINGS_MAP_H

#include "zel/zel.h"

/// The one settings map of the process, made before main runs and released at exit. Written by the command line, then
/// by the finishing of the settings, then handed to the library. No new reference.
zel_map *settings_map();

#endif
