// Comparing runs of the software camera: what its settings cause is found, and what its seed causes is not.
#include <charconv>
#include <fstream>
#include <map>

#include "frames/model/comparison.h"
#include "support/camera_fixture.h"

namespace frames {
namespace {

constexpr int kPairs = 100;
constexpr int kLatencyUs = 20000;
constexpr int kSeconds = 20;
constexpr int kFrames = kSeconds * 25 + 1;  ///< a second has 25, and the last one ends with the frame behind it

/// A number of the log's line about a frame.
std::int64_t number_of(const std::string &line, const std::string &name) {
  const std::size_t at = line.find("\"" + name + "\":");
  std::int64_t number = -1;
  if (at != std::string::npos) std::from_chars(line.data() + at + name.size() + 3, line.data() + line.size(), number);
  return number;
}

class CameraRuns : public CameraTest {
 protected:
  /// A run on the virtual clock, as the camera's log tells it. The seed decides which frames are lost, which are large,
  /// how much later than that latency each one comes (up to 10 ms), and which `more` concerns.
  Capture run(int seed, int latency_us, const std::string &more = "") {
    configure("pacing=virtual\nproducer=scripted\nlog_getters=false\nseed=" + std::to_string(seed) +
              "\n[frame all]\ncount=0\nsize=1000\njitter_us=10000\nlatency_us=" + std::to_string(latency_us) +
              "\n[frame large]\ncount=0\nprobability=0.1\nsize=3000\n"
              "[frame lost]\ncount=0\nprobability=0.02\ndrop=true\n" +
              more);
    create({{"framerate", 25.0}, {"gop_length", 25U}});
    start();
    for (int i = 0; i < kFrames; ++i) {
      const BufferRef buffer(zel_stream_get_buffer(stream_.get(), nullptr));
      EXPECT_NE(buffer, nullptr);
      if (buffer) zel_stream_buffer_enqueue(stream_.get(), buffer.get(), nullptr);
    }
    return logged();
  }

  /// The frames that the log tells of.
  Capture logged() const {
    Capture capture;
    FrameTable &frames = capture.frames;
    std::ifstream log(path("log"));
    for (std::string line; std::getline(log, line);) {
      if (!line.starts_with(R"({"kind":"frame")")) continue;
      const std::size_t i = frames.count++;
      const std::int64_t captured = number_of(line, "captured_us");
      frames.time_us.set(i, captured);
      frames.latency_us.set(i, number_of(line, "handed_us") - captured);
      frames.size.set(i, static_cast<std::uint32_t>(number_of(line, "size")));
    }
    return capture;
  }
};

}  // namespace

// Catches a test that finds differences which are not there. Equal settings must come out as chance in at least 90 of
// 100 pairs, each figure by itself. One frame in a hundred comes 30 ms late.
TEST_F(CameraRuns, EqualSettingsAreChance) {
  const std::string late = "[frame late]\ncount=0\nprobability=0.01\nlatency_us=30000\n";
  std::map<std::string, int> by_chance;
  for (int pair = 0; pair < kPairs; ++pair) {
    const Capture a = run(2 * pair, kLatencyUs, late);
    const Capture b = run(2 * pair + 1, kLatencyUs, late);
    ASSERT_EQ(a.frames.count, static_cast<std::size_t>(kFrames));
    for (const ComparedFigure &figure : frames::compare_runs({&a, 1}, {&b, 1}).figures)
      by_chance[std::string(quantity_name(figure.quantity)) + "." + std::string(figure_name(figure.figure))] +=
          figure.by_chance ? 1 : 0;
  }
  ASSERT_EQ(by_chance.size(), kQuantities.size() * kFigures.size());
  for (const auto &[name, count] : by_chance) {
    RecordProperty(name, count);
    EXPECT_GE(count, 90) << name;
  }
}

// Catches a test that misses two milliseconds: each figure of the latency must tell them in at least 99 of 100 pairs.
TEST_F(CameraRuns, TwoMillisecondsAreFound) {
  std::map<std::string, int> found;
  for (int pair = 0; pair < kPairs; ++pair) {
    const Capture a = run(2 * pair, kLatencyUs);
    const Capture b = run(2 * pair + 1, kLatencyUs + 2000);
    for (const ComparedFigure &figure : frames::compare_runs({&a, 1}, {&b, 1}).figures) {
      if (figure.quantity != Quantity::kLatency) continue;
      found[std::string(figure_name(figure.figure))] += !figure.by_chance && figure.b > figure.a ? 1 : 0;
    }
  }
  ASSERT_EQ(found.size(), kFigures.size());
  for (const auto &[name, count] : found) {
    RecordProperty(name, count);
    EXPECT_GE(count, 99) << name;
  }
}

}  // namespace frames
