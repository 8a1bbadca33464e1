// Lines that stay in place at the bottom of a terminal while others scroll above.
#ifndef ZEL_FRAMES_LIVE_SCREEN_H
#define ZEL_FRAMES_LIVE_SCREEN_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace frames {

/// Columns of the terminal on standard output; 80 when it does not say.
std::size_t terminal_width();

/// The first `width` columns of a text in UTF-8 whose characters are one column wide.
std::string_view first_columns(std::string_view text, std::size_t width);

/// Draws on standard output, which is a terminal. Only moves the cursor and clears lines: the terminal needs no
/// restoring.
class Screen {
 public:
  /// Prints the lines above the block and draws the block again under them, each line cut to the terminal's width.
  void draw(const std::vector<std::string> &above, const std::vector<std::string> &block);

  /// Takes the block away; the cursor stands where it began.
  void clear();

 private:
  std::string cleared() const;

  std::vector<std::size_t> drawn_;  ///< columns of each line of the block as it stands
};

}  // namespace frames

#endif
