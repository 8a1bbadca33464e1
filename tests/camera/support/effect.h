// A fixture for what settings do: runs of small pictures on the virtual clock.
#ifndef ZEL_TEST_EFFECT_H
#define ZEL_TEST_EFFECT_H

#include <initializer_list>
#include <numeric>
#include <vector>

#include "support/camera_fixture.h"
#include "support/picture_decoder.h"

inline constexpr int kWidth = 192;
inline constexpr int kHeight = 128;
inline constexpr Asked kSize = {"resolution", zel_pair32u{kWidth, kHeight}};
inline constexpr Asked kRaw = {"format", guint32{4}};
inline constexpr Asked kStill = {"input", guint32{3}};
inline constexpr Asked kTenFrames = {"framerate", 10.0};

class Effect : public CameraTest {
 protected:
  Effect() { configure("pacing=virtual\nmarker=false"); }

  std::vector<Seen> run(std::initializer_list<Asked> asked, int count) {
    create(asked);
    start();
    return fetch(count);
  }
  /// The first uncompressed picture of a stream.
  DecodedPicture picture(std::initializer_list<Asked> asked) {
    create(asked);
    start();
    return from_raw(fetch(), "yuv420p", kWidth, kHeight);
  }
  static std::vector<guint32> sequences(const std::vector<Seen> &frames) {
    std::vector<guint32> numbers;
    for (const Seen &seen : frames)
      numbers.push_back(seen.sequence);
    return numbers;
  }
  static std::vector<guint32> keys(const std::vector<Seen> &frames) {
    std::vector<guint32> numbers;
    for (const Seen &seen : frames) {
      if (seen.key) numbers.push_back(seen.sequence);
    }
    return numbers;
  }
  static std::vector<guint32> segments(const std::vector<Seen> &frames) {
    std::vector<guint32> numbers;
    for (const Seen &seen : frames) {
      if (seen.segment_start) numbers.push_back(seen.sequence);
    }
    return numbers;
  }
  static double bits_a_second(const std::vector<Seen> &frames, double framerate) {
    const double bytes = std::accumulate(frames.begin(), frames.end(), 0.0, [](double sum, const Seen &seen) {
      return sum + static_cast<double>(seen.size);
    });
    return bytes * 8 * framerate / static_cast<double>(frames.size());
  }
  double info(const char *key) {
    const MapRef map(zel_stream_get_info(stream_.get(), nullptr));
    return zel_map_get_double(map.get(), key, zel_map_get_uint32(map.get(), key, 0));
  }
};

using Numbers = std::vector<guint32>;

#endif
