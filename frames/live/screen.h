// Lines that stay in place at the bottom of a terminal while others scroll above.
#ifndef ZEL_FRAMES_LIVE_SCREEN_H
#define ZEL_FRAMES_LIVE_SCREEN_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace frames {

/// Columns and rows of the terminal on standard output.
struct TerminalSize {
  std::size_t columns = 80;  ///< where it does not say
  std::size_t rows = 24;     ///< likewise
};
TerminalSize terminal_size();

/// The first `width` columns of a text in UTF-8 whose characters are one column wide.
std::string_view first_columns(std::string_view text, std::size_t width);

/// Draws on standard output, which is a terminal. Only moves the cursor and clears lines: the terminal needs no
/// restoring.
class Screen {
 public:
  /// Prints the lines above the block and draws the block again under them, each line cut to the terminal's width. Of a
  /// block that is higher than the terminal only the first lines are drawn. Control characters are shown as "?".
  void draw(const std::vector<std::string> &above, const std::vector<std::string> &block);

 private:
  std::string cleared(std::size_t width) const;

  std::vector<std::size_t> drawn_;  ///< columns of each line of the block as it stands
};

}  // namespace frames

#endif
