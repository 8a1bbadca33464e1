// What ends a command with exit status 2: input that cannot be used, or a command line that asks for what cannot be
// done.
#ifndef ZEL_FRAMES_COMMON_UNUSABLE_H
#define ZEL_FRAMES_COMMON_UNUSABLE_H

#include <fmt/format.h>

#include <stdexcept>
#include <utility>

namespace frames {

/// Travels to main(), which prints "zel-frames: " and the text as one line and exits with status 2. The text names the
/// file and the place in it (frame, byte, line), then says what is wrong.
class Unusable : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Throws Unusable with the formatted text.
template <typename... Arguments>
[[noreturn]] void unusable(fmt::format_string<Arguments...> format, Arguments &&...arguments) {
  throw Unusable(fmt::format(format, std::forward<Arguments>(arguments)...));
}

}  // namespace frames

#endif
