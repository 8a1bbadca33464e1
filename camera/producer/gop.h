// Where key frames come.
#ifndef ZEL_CAMERA_GOP_H
#define ZEL_CAMERA_GOP_H

#include <cstdint>

#include "settings/grant.h"

namespace camera {

/// Counts frames since the last key frame. A key frame that was asked for starts a GOP like any other.
class GopCounter {
 public:
  explicit GopCounter(const Plan &plan) : plan_(plan) {}

  void begin() { started_ = false; }

  /// Whether the GOP is complete, so that the next frame must be a key frame.
  bool is_complete(bool still) const {
    const std::uint32_t length = still && plan_.gop_stretches ? plan_.still_gop_length : plan_.gop_length;
    return !started_ || (length != 0 && frames_ >= length);
  }

  /// Counts the next frame. Returns whether it is a key frame.
  bool next(bool asked, bool still) {
    const bool key = asked || is_complete(still);
    if (key) frames_ = 0;
    ++frames_;
    started_ = true;
    return key;
  }

 private:
  const Plan &plan_;
  bool started_ = false;
  std::uint32_t frames_ = 0;  ///< in the GOP so far
};

}  // namespace camera

#endif
