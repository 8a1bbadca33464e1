// The numbers by which the library's objects appear in the recording.
#ifndef ZEL_RECORDER_OBJECTS_H
#define ZEL_RECORDER_OBJECTS_H

#include <glib-object.h>

#include <cstddef>
#include <cstdint>

namespace recorder {

/// The object's number, from 1 over all types; it is given when the object is first seen. 0 for null. An object carries
/// its number, so that one at the same address later has another; its end is written down.
std::uint32_t object_id(gpointer object);

/// How many types first_sight() remembers.
inline constexpr std::size_t kSeenTypes = 16;

/// Whether this type has not been asked for before. Types beyond kSeenTypes are always new.
bool first_sight(GType type);

}  // namespace recorder

#endif
