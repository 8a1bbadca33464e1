// Owner of the settings map.
#include "settings/settings_map.h"

#include "common/owned.h"

namespace {

const ObjectPtr<zel_map> map(zel_map_new());

}  // namespace

zel_map *settings_map() {
  return map.get();
}
