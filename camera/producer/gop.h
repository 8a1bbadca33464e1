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

  /// Whether the next frame is a key frame.
  bool next(bool asked, bool still) {
    const std::uint32_t length = still && plan_.gop_stretches ? plan_.still_gop_length : plan_.gop_length;
    const bool key = !started_ || asked || (length != 0 && frames_ >= length);
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
