// Any texts as places in a capture and as patterns of file names.
#include <limits>

#include "frames/model/position.h"
#include "reader_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const std::string folder = input_file("");
  frames::Capture capture;
  for (const std::int64_t time : {std::numeric_limits<std::int64_t>::max(), std::int64_t{0}, std::int64_t{5},
                                  std::numeric_limits<std::int64_t>::min()}) {
    capture.frames.time_us.set(capture.frames.count++, time);
  }
  Input input(data, size);
  while (!input.empty()) {
    const std::string text = input.line();
    if (const auto position = frames::parse_position(text)) {
      require(position->frame.has_value() != position->after_us.has_value(), "a place is a number or a time");
      require(position->after_us.value_or(0) >= 0, "a time lies behind the first frame");
      try {
        require(frame_at(capture, *position) < capture.frames.count, "a place is a frame's");
      } catch (const frames::Unusable &) {
        require(position->frame.value_or(0) >= capture.frames.count, "only a frame that is not there is refused");
      }
    }
    if (formats::is_pattern(text) && text.find('/') == std::string::npos) read_capture({.capture = folder + text});
  }
  return 0;
}
