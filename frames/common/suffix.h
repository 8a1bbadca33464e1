// What a file's name says of its kind.
#ifndef ZEL_FRAMES_COMMON_SUFFIX_H
#define ZEL_FRAMES_COMMON_SUFFIX_H

#include <algorithm>
#include <string_view>

namespace frames {

/// Whether the name ends in `suffix`, which has small letters; the name may have large ones.
inline bool has_suffix(std::string_view name, std::string_view suffix) {
  if (name.size() < suffix.size()) return false;
  name.remove_prefix(name.size() - suffix.size());
  return std::equal(name.begin(), name.end(), suffix.begin(),
                    [](char one, char other) { return (one >= 'A' && one <= 'Z' ? one - 'A' + 'a' : one) == other; });
}

}  // namespace frames

#endif
