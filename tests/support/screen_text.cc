// A terminal's few functions.
#include "tests/support/screen_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

std::size_t characters_of(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }));
}

void ScreenText::write(std::string_view text) {
  static const std::regex kUp("\x1b\\[(\\d+)A\r\x1b\\[J");
  constexpr std::size_t kLongest = 12;  // of that sequence
  waiting_ += text;
  std::size_t at = 0;
  for (; at < waiting_.size(); ++at) {
    const char byte = waiting_[at];
    std::smatch match;
    if (byte == '\x1b') {
      if (!std::regex_search(waiting_.cbegin() + static_cast<std::ptrdiff_t>(at), waiting_.cend(), match, kUp,
                             std::regex_constants::match_continuous)) {
        EXPECT_LT(waiting_.size() - at, kLongest) << "no sequence that is known: " << waiting_.substr(at + 1);
        break;
      }
      take_away(std::stoul(match[1]));
      at += static_cast<std::size_t>(match.length()) - 1;
    } else if (byte == '\n') {
      lines_.emplace_back();
    } else if (byte == '\r') {
      if (at + 1 == waiting_.size()) break;
      EXPECT_EQ(waiting_[at + 1], '\n');
    } else {
      EXPECT_GE(static_cast<unsigned char>(byte), ' ');
      lines_.back() += byte;
    }
  }
  waiting_.erase(0, at);
}

void ScreenText::take_away(std::size_t rows) {
  EXPECT_EQ(lines_.back(), "") << "the cursor stands within a line";
  lines_.pop_back();
  while (rows > 0 && !lines_.empty()) {
    const std::size_t height = std::max<std::size_t>(1, (characters_of(lines_.back()) + columns_ - 1) / columns_);
    EXPECT_LE(height, rows) << "a part of a line is left: " << lines_.back();
    lines_.pop_back();
    rows -= std::min(rows, height);
  }
  EXPECT_EQ(rows, 0U) << "more is taken away than there is";
  lines_.emplace_back();
}

std::vector<std::string> ScreenText::lines() const {
  std::vector<std::string> result = lines_;
  while (!result.empty() && result.back().empty())
    result.pop_back();
  return result;
}
