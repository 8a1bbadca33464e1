// A run that goes on: what is shown of it, on a clock that the test makes.
#include "frames/live/live_run.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "frames/live/live_report.h"

namespace frames {
namespace {

using std::chrono::milliseconds;

std::string line_of(std::size_t number, std::int64_t distance_us, std::int64_t latency_us) {
  return fmt::format("zel-client: frame = {:4}, type = p       , Δpts = {:7}, latency = {:7} µs, size = 4000\n", number,
                     distance_us, latency_us);
}

/// Lines of frames 40 ms apart, each with a latency 100 us longer than the one before.
std::string lines_of(std::size_t first, std::size_t count) {
  std::string text;
  for (std::size_t i = first; i < first + count; ++i)
    text += line_of(i, i == 0 ? 0 : 40000, 20000 + static_cast<std::int64_t>(i) * 100);
  return text;
}

class LiveRunTest : public testing::Test {
 protected:
  Clock::time_point at(int ms) const { return start + milliseconds(ms); }
  void take(const std::string &text, int ms) { run.take({.text = text, .time = at(ms)}, others); }
  std::string last_line(int ms, std::size_t width) { return live_block(run, at(ms), width).back(); }

  Clock::time_point start;
  LiveRun run{start};
  std::vector<std::string> others;
};

/// Ten frames in the first second; three in the next one, before the last of which one is lost.
class LiveFiguresTest : public LiveRunTest {
 protected:
  LiveFiguresTest() {
    take(lines_of(0, 10), 200);
    take(lines_of(10, 2) + line_of(13, 80000, 21300), 1500);
  }
};

// Catches figures of the last second that are those of the run, gaps that are not counted, and bars at another place.
TEST_F(LiveFiguresTest, Block) {
  EXPECT_EQ(live_block(run, at(2000), 60), (std::vector<std::string>{
                                               "13 frames  3 frames/s  96 kbit/s  gaps 1, 1 frames missing",
                                               "distance us  1 s: p50   40000  p99   80000  max   80000",
                                               "             run: p50   40000  p99   80000  max   80000",
                                               "latency us   1 s: p50   21100  p99   21300  max   21300",
                                               "             run: p50   20600  p99   21300  max   21300",
                                               "last minute " + std::string(33, ' ') + "██   max 21300",
                                           }));
}

// Catches frames of the last second that never leave it, and a gap that is counted twice.
TEST_F(LiveFiguresTest, LaterOn) {
  (void)live_block(run, at(2000), 60);
  const std::vector<std::string> block = live_block(run, at(2501), 60);
  EXPECT_EQ(block[0], "13 frames  0 frames/s  0 kbit/s  gaps 1, 1 frames missing");
  EXPECT_EQ(block[1], "distance us  1 s: -");
  EXPECT_EQ(block[4], "             run: p50   20600  p99   21300  max   21300");
}

TEST_F(LiveFiguresTest, Line) {
  EXPECT_EQ(live_line(run, at(2000)),
            "13 frames, 3 frames/s, 96 kbit/s, gaps 1, 1 frames missing; distance us: p50   40000  p99   80000  max   "
            "80000; latency us: p50   21100  p99   21300  max   21300");
}

TEST_F(LiveFiguresTest, Json) {
  EXPECT_EQ(live_json(run, at(2000)),
            R"({"frames":13,"fps":3.0,"bitrate_bps":96000.0,"gaps":1,"missing":1,"bursts":false,)"
            R"("last_second":{"delta_us":{"p50":40000,"p99":80000,"max":80000},)"
            R"("latency_us":{"p50":21100,"p99":21300,"max":21300}},)"
            R"("whole_run":{"delta_us":{"p50":40000,"p99":80000,"max":80000},)"
            R"("latency_us":{"p50":20600,"p99":21300,"max":21300}}})");
}

// Catches a terminal without room for a bar, or for anything.
TEST_F(LiveFiguresTest, NarrowBlock) {
  EXPECT_EQ(last_line(2000, 24), "last minute   max 21300");
  EXPECT_EQ(last_line(2000, 1), "last minute   max 21300");
  EXPECT_EQ(last_line(2000, 27), "last minute ██   max 21300");
}

// Catches bars of other heights, and seconds without a frame that are left out.
TEST_F(LiveRunTest, BarsAreSharesOfTheHighest) {
  take(line_of(0, 0, 100) + line_of(1, 40000, 99), 0);
  take(line_of(2, 40000, 1000), 1000);
  take(line_of(3, 40000, 500), 3000);
  EXPECT_EQ(last_line(3500, 27), "last minute ▁█ ▅  max 1000");
  EXPECT_EQ(last_line(61'500, 27), "last minute " + std::string(5, ' ') + "  max 500") << "second 1 is a minute ago";
}

// Catches more than a minute of bars, or one that is dropped too early.
TEST_F(LiveRunTest, AMinuteOfBars) {
  for (std::size_t second = 0; second < 70; ++second)
    take(line_of(second, 40000, static_cast<std::int64_t>(second)), static_cast<int>(second) * 1000);
  const auto minute = run.minute(at(69'900));
  ASSERT_EQ(minute.size(), 60U);
  EXPECT_EQ(minute.front(), 10);
  EXPECT_EQ(minute.back(), 69);
}

// Catches a chart that stays empty for a text without latencies.
TEST_F(LiveRunTest, WithoutLatencyTheBarsAreDistances) {
  take("zel-client: frame =    0, id = 0x00000001, Δcts =       0, Δpts =       0, size = 5/131072\n", 0);
  take("zel-client: frame =    1, id = 0x00000002, Δcts =   40000, Δpts =   41000, size = 5/131072\n", 40);
  EXPECT_EQ(run.minute(at(500)).back(), 41000);
}

// Catches lines that are cut where a read ends, and those of others that are taken for frames.
TEST_F(LiveRunTest, LinesInPieces) {
  const std::string text = "Starting Stream[1]:\n" + lines_of(0, 2) + "zel-client: frame = x\nend";
  for (const char byte : text)
    take(std::string(1, byte), 0);
  EXPECT_EQ(run.capture().frames.count, 2U);
  EXPECT_EQ(others, (std::vector<std::string>{"Starting Stream[1]:", "zel-client: frame = x"}));
}

// Catches a note about bursts where lines come one by one, or none where they come many at once.
TEST_F(LiveRunTest, Bursts) {
  take(lines_of(0, 60) + lines_of(60, 40), 0);
  EXPECT_EQ(last_line(0, 80), "The lines come in bursts: run the client under stdbuf -oL");
  EXPECT_TRUE(live_line(run, at(0)).ends_with("; in bursts (stdbuf -oL)"));
  for (std::size_t i = 100; i < 200; ++i)
    take(lines_of(i, 1), static_cast<int>(i) * 40);
  EXPECT_TRUE(last_line(8000, 80).starts_with("last minute"));
}

}  // namespace
}  // namespace frames
