// What makes frames.
#ifndef ZEL_CAMERA_PRODUCER_H
#define ZEL_CAMERA_PRODUCER_H

#include <cstdint>
#include <memory>
#include <optional>

#include "pacing/timeline.h"
#include "producer/frame.h"
#include "settings/grant.h"

namespace camera {

/// A frame that is to be made.
struct Order {
  std::uint32_t sequence = 0;
  std::uint64_t captured_us = 0;
  std::uint64_t utc_us = 0;
  bool key = false;  ///< it must be a key frame
};

enum class Outcome { kMade, kLeftOut, kEnded };

/// What a producer has under a sequence number.
enum class Availability { kThere, kMissing, kEnded };

/// A frame as its producer made it.
struct Product {
  Outcome outcome = Outcome::kMade;
  std::shared_ptr<const Payload> payload;
  std::size_t header_size = 0;
  std::uint32_t type = 0;
  bool key = false;
  bool shown = true;
  bool empty = false;
  std::uint64_t latency_us = 0;         ///< it is handed out so much after its capture at the earliest
  std::int64_t clock_offset_us = 0;     ///< from the moment of its capture to its timestamp
  std::optional<double> new_framerate;  ///< the rate of a dynamic frame rate has changed to this
};

/// Makes one frame at a time. All calls come from one thread at a time.
class Producer {
 public:
  Producer() = default;
  Producer(const Producer &) = delete;
  Producer &operator=(const Producer &) = delete;
  virtual ~Producer() = default;

  /// A run begins with the frame of that number: it is a key frame, and whatever went before is over.
  virtual void begin(std::uint32_t sequence) = 0;

  /// What it has under a number of this run, if it knows before it is to make the frame.
  virtual Availability availability(std::uint32_t) const { return Availability::kThere; }
  virtual Product make(const Order &order) = 0;

  /// A frame is left out: the source goes on all the same, unless it does so by itself.
  virtual void skip() = 0;

  /// Where its frames lie in time; null: on the grid of the frame rate.
  virtual const Timeline *timeline() const { return nullptr; }
};

/// Frames of made-up bytes with the GOPs of the plan.
std::unique_ptr<Producer> make_scripted_producer(const Plan &plan);

}  // namespace camera

#endif
