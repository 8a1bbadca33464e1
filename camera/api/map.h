// The map object.
#ifndef ZEL_CAMERA_MAP_H
#define ZEL_CAMERA_MAP_H

#include "api/call.h"
#include "api/object.h"
#include "api/session.h"
#include "settings/values.h"

namespace camera {

struct MapState {
  MapState() = default;
  MapState(const MapState &) = delete;
  MapState &operator=(const MapState &) = delete;
  ~MapState();  ///< logs the release

  Session *session = nullptr;  ///< null: a map that is not logged
  std::uint32_t number = 0;    ///< which map of the session this is, from 1
  Values values;
};

}  // namespace camera

struct zel_map {
  static constexpr const char *kTypeName = "zel_map";
  GObject parent;
  camera::MapState state;
};

namespace camera {

/// A new map of the session that holds `values`.
Ref<zel_map> make_map(Session &session, Values values);

/// How a map appears in log arguments: its number, or null.
LogValue shown(const zel_map *map);

/// A map that was asked for; a null one is a failure.
inline constexpr Answer<zel_map *> kMap{nullptr, [](zel_map *const &map) { return shown(map); },
                                        [](zel_map *const &map) { return map == nullptr; }};

/// The readable form of a map: a line "key = value" each, in the order of the keys.
std::string dump_text(const Values &values);

}  // namespace camera

#endif
