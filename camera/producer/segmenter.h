// Cutting the stream into segments.
#ifndef ZEL_CAMERA_SEGMENTER_H
#define ZEL_CAMERA_SEGMENTER_H

#include <cstdint>

#include "settings/grant.h"

namespace camera {

/// Decides which key frames start a segment, and asks for one when a segment must not grow longer. Used by the
/// producer's thread only.
class Segmenter {
 public:
  explicit Segmenter(const Plan &plan) : plan_(plan) {}

  void begin() { open_ = false; }

  /// Whether the frame captured at that time must be a key frame because the segment has reached its maximum.
  bool wants_key(std::uint64_t captured_us) const;

  /// Takes note of a frame and returns whether it starts a segment.
  bool add(std::uint64_t captured_us, std::uint64_t size, bool key);

 private:
  bool is_due(std::uint64_t captured_us) const;

  const Plan &plan_;
  bool open_ = false;
  std::uint64_t start_us_ = 0;
  std::uint64_t bytes_ = 0;
};

}  // namespace camera

#endif
