// Keys and the delay cycle, without a terminal: a key comes through a pipe in standard input's place.
#include "console/interactive.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string>
#include <vector>

#include "captured_output.h"
#include "fake_zel.h"
#include "settings/client_options.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Catches a wrong pause, a wrong order, and a cycle that runs past its end or starts anew in the wrong place.
TEST(NextDelayTest, CyclesThroughEightPauses) {
  guint32 index = 0;
  std::vector<guint32> delays;
  for (int i = 0; i < 18; ++i) {
    delays.push_back(next_delay(index));
    EXPECT_LE(index, 8U);
  }
  EXPECT_THAT(delays, ElementsAre(33333, 40000, 50000, 66667, 100000, 200000, 500000, 1000000,  //
                                  33333, 40000, 50000, 66667, 100000, 200000, 500000, 1000000,  //
                                  33333, 40000));
}

class HandleKeyTest : public testing::Test {
 protected:
  void SetUp() override {
    fake::reset();
    client_options = ClientOptions();
    step_count = -1;
    zel_map *settings = zel_map_new();
    stream.reset(zel_stream_new(settings, nullptr, nullptr));
    g_object_unref(settings);
    fake::clear_calls();
    saved_stdin = dup(STDIN_FILENO);
    ASSERT_EQ(pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC), 0);
    ASSERT_EQ(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
  }

  void TearDown() override {
    dup2(saved_stdin, STDIN_FILENO);
    close(saved_stdin);
    close(ends[0]);
    close_keyboard();
    client_options = ClientOptions();
    step_count = -1;
  }

  void close_keyboard() {
    if (ends[1] >= 0) close(ends[1]);
    ends[1] = -1;
  }

  void press(char key) {
    ASSERT_EQ(write(ends[1], &key, 1), 1);
    handle();
  }

  void handle() {
    CapturedOutput output(stdout);
    CapturedOutput errors(stderr);
    handle_key(stream.get());
    out = output.take();
    err = errors.take();
  }

  fake::StreamPtr stream;
  std::array<int, 2> ends{-1, -1};
  int saved_stdin = -1;
  std::string out;
  std::string err;
};

// Catches wrong messages or calls of the keys that steer the stream.
TEST_F(HandleKeyTest, StartPlayStopKeyFrame) {
  press('1');
  EXPECT_EQ(out, "START!\n");
  press('2');
  EXPECT_EQ(out, "PLAY!\n");
  press('3');
  EXPECT_EQ(out, "STOP!\n");
  press('k');
  EXPECT_EQ(out, "");
  EXPECT_EQ(err, "");
  EXPECT_THAT(fake::calls("zel_"),
              ElementsAre(testing::StartsWith("zel_stream_start"), testing::StartsWith("zel_stream_play"),
                          testing::StartsWith("zel_stream_stop"), testing::StartsWith("zel_stream_force_key_frame")));
  EXPECT_EQ(step_count, -1);
}

// Catches failures that are silent, end the process or leak; also one that comes without an error.
TEST_F(HandleKeyTest, StartAndPlayFail) {
  fake::fail("zel_stream_start", 1, {.message = "no start"});
  fake::fail("zel_stream_play", 1, {.message = "no play"});
  press('1');
  EXPECT_EQ(out, "START!\n");
  EXPECT_EQ(err, "zel-client: no start\n");
  press('2');
  EXPECT_EQ(out, "PLAY!\n");
  EXPECT_EQ(err, "zel-client: no play\n");
  fake::fail("zel_stream_start", 1, {.without_error = true});
  press('1');
  EXPECT_EQ(err, "zel-client: unknown error\n");
}

// Catches failures reported that must stay silent.
TEST_F(HandleKeyTest, OtherFailuresAreSilent) {
  fake::fail("zel_stream_stop");
  fake::fail("zel_stream_force_key_frame");
  fake::fail("zel_stream_start");
  press('3');
  EXPECT_EQ(out, "STOP!\n");
  EXPECT_EQ(err, "");
  press('k');
  EXPECT_EQ(err, "");
  press('\n');
  EXPECT_EQ(out, "\n");
  EXPECT_EQ(err, "");
  EXPECT_EQ(step_count, 1);
}

// Catches a second start, or a step count that is set instead of raised.
TEST_F(HandleKeyTest, EnterStartsOnceAndSteps) {
  press('\n');
  EXPECT_EQ(out, "\n");
  EXPECT_EQ(step_count, 1);
  press('\n');
  EXPECT_EQ(step_count, 2);
  step_count = 0;
  press('\n');
  EXPECT_EQ(step_count, 1);
  EXPECT_EQ(fake::calls("zel_stream_start").size(), 1U);
}

// Catches bytes taken for keys: upper case, control characters, and the 0 that the byte starts with.
TEST_F(HandleKeyTest, OtherBytesDoNothing) {
  client_options.delay_us = 5;
  for (int byte = 0; byte < 256; ++byte) {
    const char key = static_cast<char>(byte);
    if (std::string("123dk\n").find(key) != std::string::npos) continue;
    press(key);
    EXPECT_EQ(out, "") << byte;
    EXPECT_EQ(err, "") << byte;
  }
  EXPECT_THAT(fake::calls("zel_"), IsEmpty());
  EXPECT_EQ(client_options.delay_us, 5);
  EXPECT_EQ(step_count, -1);
}

// Catches a key made up when none waits, or at the end of the input; and more than one byte taken at a time.
TEST_F(HandleKeyTest, NoKeyWaits) {
  handle();
  EXPECT_EQ(out, "");
  ASSERT_EQ(write(ends[1], "31", 2), 2);
  handle();
  EXPECT_EQ(out, "STOP!\n");
  handle();
  EXPECT_EQ(out, "START!\n");
  close_keyboard();
  fake::clear_calls();
  handle();
  EXPECT_EQ(out, "");
  EXPECT_THAT(fake::calls("zel_"), IsEmpty());
}

// Catches a pause that depends on "--delay_us". The position in the cycle belongs to the process, so this is the only
// test here that presses "d".
TEST_F(HandleKeyTest, DelayKey) {
  client_options.delay_us = 123;
  for (const char *delay : {"33333", "40000", "50000", "66667", "100000", "200000", "500000", "1000000", "33333"}) {
    press('d');
    EXPECT_EQ(out, std::string("DELAY ") + delay + "µs\n");
    EXPECT_EQ(std::to_string(client_options.delay_us), delay);
  }
}

}  // namespace
