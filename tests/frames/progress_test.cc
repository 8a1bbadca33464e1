// The line of progress, on a clock of the test's own.
#include "frames/common/progress.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace frames {
namespace {

using std::chrono::milliseconds;

/// Work of 1000 frames, and what the terminal was given.
class ProgressTest : public testing::Test {
 protected:
  ProgressTerminal terminal(bool is_one) {
    return {
        .is_one = is_one, .now = [this] { return now_; }, .put = [this](const std::string &text) { shown_ += text; }};
  }

  /// So much time passes, then frames follow one another until the clock has been looked at once.
  void work(Progress &progress, milliseconds time, std::uint64_t done) {
    now_ += time;
    constexpr int kCalls = 16;
    for (int i = 0; i < kCalls; ++i)
      progress.at(done);
  }

  /// What was shown since it was asked for last.
  std::string take_shown() { return std::exchange(shown_, ""); }

 private:
  ProgressTerminal::Time now_;
  std::string shown_;
};

// Catches a line that short work leaves on the terminal, one that comes for every frame, and one that stays.
TEST_F(ProgressTest, IsALineAfterHalfASecond) {
  {
    Progress progress(1000, "frames", terminal(true));
    work(progress, milliseconds(499), 100);
    EXPECT_EQ(take_shown(), "");
    work(progress, milliseconds(1), 101);
    EXPECT_EQ(take_shown(), "\r\x1B[K101 of 1000 frames");
    work(progress, milliseconds(99), 102);
    EXPECT_EQ(take_shown(), "");
    work(progress, milliseconds(1), 103);
    EXPECT_EQ(take_shown(), "\r\x1B[K103 of 1000 frames");
  }
  EXPECT_EQ(take_shown(), "\r\x1B[K");
}

// Catches an erased line where there was none.
TEST_F(ProgressTest, ShortWorkShowsNothing) {
  {
    Progress progress(1000, "frames", terminal(true));
    work(progress, milliseconds(400), 1000);
  }
  EXPECT_EQ(take_shown(), "");
}

// Catches progress among a script's messages.
TEST_F(ProgressTest, FilesAndPipesGetNothing) {
  {
    Progress progress(1000, "MiB", terminal(false));
    work(progress, milliseconds(10000), 500);
  }
  EXPECT_EQ(take_shown(), "");
}

}  // namespace
}  // namespace frames
