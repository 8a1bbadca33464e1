// Places in a capture.
#include "frames/model/position.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "frames/common/unusable.h"

namespace {

frames::Capture with_times(std::initializer_list<std::int64_t> times) {
  frames::Capture capture;
  capture.name = "cap";
  for (const std::int64_t time : times)
    capture.frames.time_us.set(capture.frames.count++, time);
  return capture;
}

std::size_t frame_after(const frames::Capture &capture, const char *text) {
  return frames::frame_at(capture, frames::parse_position(text).value());
}

std::string failure(const frames::Capture &capture, const char *text) {
  try {
    (void)frame_after(capture, text);
  } catch (const frames::Unusable &error) {
    return error.what();
  }
  return "";
}

}  // namespace

// Catches a unit taken for another one, decimals that are cut, and texts that are neither.
TEST(FramesPosition, NumbersAndTimes) {
  EXPECT_EQ(frames::parse_position("125")->frame, 125u);
  EXPECT_EQ(frames::parse_position("0")->frame, 0u);
  EXPECT_EQ(frames::parse_position("12.5s")->after_us, 12'500'000);
  EXPECT_EQ(frames::parse_position("0.000001s")->after_us, 1);
  EXPECT_EQ(frames::parse_position("200ms")->after_us, 200'000);
  EXPECT_EQ(frames::parse_position("0.125ms")->after_us, 125);
  EXPECT_EQ(frames::parse_position("5us")->after_us, 5);
  for (const char *text : {"",
                           "s",
                           "ms",
                           "us",
                           "-1",
                           "-1s",
                           "+1",
                           "1.5",
                           "0.0000001s",
                           "1.s",
                           ".5s",
                           "5.0us",
                           "1m",
                           "1 s",
                           "1s ",
                           "0x10",
                           "1e3s",
                           "99999999999999999999",
                           "9999999999999s",
                           "nan",
                           "1.5.5s",
                           "1.-5s"}) {
    EXPECT_FALSE(frames::parse_position(text).has_value()) << text;
  }
}

// Catches the frame that comes at a time in place of the one that is shown then, and a sum that overflows.
TEST(FramesPosition, TheFrameShownThen) {
  const auto capture = with_times({1000, 1040, 1080, 1120});
  EXPECT_EQ(frame_after(capture, "0us"), 0u);
  EXPECT_EQ(frame_after(capture, "39us"), 0u);
  EXPECT_EQ(frame_after(capture, "40us"), 1u);
  EXPECT_EQ(frame_after(capture, "0.1ms"), 2u);
  EXPECT_EQ(frame_after(capture, "1000000000000s"), 3u);
  EXPECT_EQ(frame_after(capture, "3"), 3u);
  EXPECT_EQ(failure(capture, "4"), "cap: frame 4: the last frame is 3");
  const auto late =
      with_times({std::numeric_limits<std::int64_t>::max() - 1, std::numeric_limits<std::int64_t>::max()});
  EXPECT_EQ(frame_after(late, "1s"), 1u);
  EXPECT_EQ(failure(with_times({}), "0"), "cap: has no frames");
  frames::Capture untimed;
  untimed.name = "cap";
  untimed.frames.size.set(untimed.frames.count++, 3);
  EXPECT_NE(failure(untimed, "0s").find("its frames have no times"), std::string::npos);
  EXPECT_EQ(frame_after(untimed, "0"), 0u);
}
