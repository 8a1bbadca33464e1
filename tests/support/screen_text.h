// What a terminal shows of what was written to it.
#ifndef ZEL_CLIENT_TESTS_SUPPORT_SCREEN_TEXT_H
#define ZEL_CLIENT_TESTS_SUPPORT_SCREEN_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// A terminal of unlimited height that wraps long lines, also when it becomes narrower. It knows line feeds, "\r\n",
/// and how lines at the bottom are taken away: "ESC[nA", "\r", "ESC[J". Anything else fails the test.
class ScreenText {
 public:
  explicit ScreenText(std::size_t columns) : columns_(columns) {}

  void resize(std::size_t columns) { columns_ = columns; }

  /// Takes what is written. A sequence that is not complete yet waits for the rest of it.
  void write(std::string_view text);

  /// The lines, without those that are empty at the end; one that is wrapped is one line.
  std::vector<std::string> lines() const;

 private:
  void take_away(std::size_t rows);

  std::size_t columns_;
  std::vector<std::string> lines_ = {""};  ///< the cursor stands at the end of the last one
  std::string waiting_;
};

/// Characters of a text in UTF-8.
std::size_t characters_of(std::string_view text);

#endif
