// Lines that stay in place, on a pseudo-terminal.
#include "frames/live/screen.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>

#include "tests/support/screen_text.h"

namespace frames {
namespace {

using Lines = std::vector<std::string>;

/// Takes the place of standard output while it lives.
class ScreenTest : public testing::Test {
 protected:
  ScreenTest() : kept_(dup(STDOUT_FILENO)) {
    EXPECT_EQ(openpty(&master_, &slave_, nullptr, nullptr, nullptr), 0);
    resize(80, 24);
  }
  ~ScreenTest() override {
    for (const int descriptor : {kept_, master_, slave_})
      close(descriptor);
  }

  void resize(unsigned short columns, unsigned short rows) {
    const winsize size = {.ws_row = rows, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
    EXPECT_EQ(ioctl(slave_, TIOCSWINSZ, &size), 0);
    text_.resize(columns);
  }

  /// Draws, and gives what is on the screen then.
  Lines draw(const Lines &above, const Lines &block) {
    std::fflush(stdout);
    dup2(slave_, STDOUT_FILENO);
    screen_.draw(above, block);
    dup2(kept_, STDOUT_FILENO);
    text_.write(written());
    return text_.lines();
  }

  static constexpr char kEnd = '\x1d';

  /// What was written to the terminal since the last call.
  std::string written() const {
    EXPECT_EQ(write(slave_, &kEnd, 1), 1);
    std::string text;
    while (text.empty() || text.back() != kEnd) {
      std::array<char, 4096> bytes{};
      const ssize_t count = read(master_, bytes.data(), bytes.size());
      if (count <= 0) break;
      text.append(bytes.data(), static_cast<std::size_t>(count));
    }
    text.pop_back();
    return text;
  }

 private:
  int kept_;
  int master_ = -1;
  int slave_ = -1;
  Screen screen_;
  ScreenText text_{80};
};

// Catches a block that is drawn below the one before, or lines above it that are lost.
TEST_F(ScreenTest, BlockIsReplaced) {
  EXPECT_EQ(draw({"one"}, {"block", "of two"}), (Lines{"one", "block", "of two"}));
  EXPECT_EQ(draw({"two", "three"}, {"block", "of three", "lines"}),
            (Lines{"one", "two", "three", "block", "of three", "lines"}));
  EXPECT_EQ(draw({}, {"short"}), (Lines{"one", "two", "three", "short"}));
  EXPECT_EQ(draw({"four"}, {}), (Lines{"one", "two", "three", "four"}));
  EXPECT_EQ(draw({"five"}, {"again"}), (Lines{"one", "two", "three", "four", "five", "again"}));
}

// Catches lines that reach the edge, where some terminals wrap, and characters that are cut in two.
TEST_F(ScreenTest, LinesAreCutToTheWidth) {
  resize(6, 24);
  EXPECT_EQ(draw({"a line that may wrap"}, {"latency", "µµµµµµµ"}), (Lines{"a line that may wrap", "laten", "µµµµµ"}));
  resize(1, 24);
  EXPECT_EQ(draw({}, {"latency"}), (Lines{"a line that may wrap"}));
}

// Catches lines that are left when a narrower terminal has wrapped them, or others that are taken away.
TEST_F(ScreenTest, NarrowerAndWiderAgain) {
  draw({"above"}, {"0123456789012345678", "", "01234567890"});
  resize(10, 24);
  EXPECT_EQ(draw({}, {"0123456789", "b"}), (Lines{"above", "012345678", "b"}));
  resize(40, 24);
  EXPECT_EQ(draw({}, {"0123456789", "b"}), (Lines{"above", "0123456789", "b"}));
}

// Catches a block that scrolls because it is higher than the terminal.
TEST_F(ScreenTest, LinesAreLeftOutOfALowTerminal) {
  resize(80, 3);
  EXPECT_EQ(draw({}, {"one", "two", "three", "four"}), (Lines{"one", "two"}));
  resize(80, 1);
  EXPECT_EQ(draw({"above"}, {"one", "two"}), (Lines{"above"}));
}

// Catches a text that changes the terminal.
TEST_F(ScreenTest, ControlCharactersAreNotPassedOn) {
  EXPECT_EQ(draw({"\x1b[2Jred\t\r\x7f µ"}, {"block"}), (Lines{"?[2Jred??? µ", "block"}));
}

}  // namespace
}  // namespace frames
