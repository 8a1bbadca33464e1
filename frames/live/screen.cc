// Drawing with the few control sequences that every terminal has.
#include "frames/live/screen.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

#include "frames/print/output.h"

namespace frames {
namespace {

std::size_t columns_of(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;  // not the middle of a character
  }));
}

}  // namespace

TerminalSize terminal_size() {
  TerminalSize result;
  winsize size = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return result;
  if (size.ws_col > 0) result.columns = size.ws_col;
  if (size.ws_row > 0) result.rows = size.ws_row;
  return result;
}

std::string_view first_columns(std::string_view text, std::size_t width) {
  std::size_t end = 0;
  for (std::size_t columns = 0; end < text.size(); ++end) {
    const bool begins_character = (static_cast<unsigned char>(text[end]) & 0xC0U) != 0x80U;
    if (begins_character && columns++ == width) break;
  }
  return text.substr(0, end);
}

std::string Screen::cleared(std::size_t width) const {
  // A narrower terminal has wrapped the lines that were drawn before.
  std::size_t rows = 0;
  for (const std::size_t columns : drawn_)
    rows += std::max<std::size_t>(1, (columns + width - 1) / width);
  return rows == 0 ? "" : fmt::format("\x1b[{}A\r\x1b[J", rows);
}

void Screen::draw(const std::vector<std::string> &above, const std::vector<std::string> &block) {
  const TerminalSize size = terminal_size();
  std::string text = cleared(size.columns);
  drawn_.clear();
  for (const std::string &line : above)
    text.append(one_line(line)).append("\n");
  for (const std::string &line : block) {
    if (drawn_.size() + 1 == size.rows) break;  // the cursor has a row of its own
    const std::string_view shown =
        first_columns(line, size.columns - 1);  // the last column would wrap on some terminals
    text.append(shown).append("\n");
    drawn_.push_back(columns_of(shown));
  }
  Output output;
  output.put(text);
  output.flush();
}

}  // namespace frames
