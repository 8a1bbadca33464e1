// How the readers of captures fail.
#ifndef ZEL_FORMATS_CAPTURE_UNUSABLE_H
#define ZEL_FORMATS_CAPTURE_UNUSABLE_H

#include <fmt/format.h>

#include <stdexcept>
#include <utility>

namespace formats {

/// A capture cannot be used. The text, one line, names the file and the place in it (frame, byte, line), then says what
/// is wrong.
class Unusable : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Throws Unusable with the formatted text.
template <typename... Arguments>
[[noreturn]] void unusable(fmt::format_string<Arguments...> format, Arguments &&...arguments) {
  throw Unusable(fmt::format(format, std::forward<Arguments>(arguments)...));
}

}  // namespace formats

#endif
