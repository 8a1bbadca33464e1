// zel-frames list: a row for every frame.
#include <algorithm>
#include <string>

#include "frames/commands/command.h"
#include "frames/common/unusable.h"
#include "frames/model/position.h"
#include "frames/print/frame_rows.h"

namespace frames {
namespace {

struct ListOptions {
  CaptureOptions capture;
  bool json = false;
  bool csv = false;
  bool keys = false;
  bool timestamps = false;
  std::optional<Position> from;
  std::optional<Position> to;
};

int list(const ListOptions &options) {
  Capture capture = open_capture(options.capture);
  FrameTable &frames = capture.frames;
  RowRange range{.from = 0, .to = frames.count, .keys_only = options.keys};
  if (options.from) range.from = frame_at(capture, *options.from);
  if (options.to) range.to = frame_at(capture, *options.to) + 1;
  if (options.from && options.to && range.from >= range.to) unusable("{}: --from lies behind --to", capture.name);
  if (options.timestamps) {
    require_times(capture);
    if (options.keys) find_keys(capture);
    print_timestamps(capture, range);
    return kExitGood;
  }
  find_keys(capture);
  if (options.keys && frames.count > 0 && !frames.key.any()) {
    unusable("{}: which frames are key frames is not known without their bytes", capture.name);
  }
  if (options.json) {
    print_json_rows(capture, range);
  } else if (options.csv) {
    print_csv_rows(capture, range);
  } else {
    print_text_rows(capture, range);
  }
  return kExitGood;
}

}  // namespace

Run add_list(Options &options) {
  auto given = std::make_shared<ListOptions>();
  add_capture_options(options, given->capture);
  add_json_option(options, given->json);
  options.flag("--csv", given->csv, "Print comma-separated values").excludes("--json");
  options.flag("--keys", given->keys, "Key frames only");
  add_position_option(options, "--from", given->from,
                      "First frame: a number, or a time after the first (12.5s, 200ms, 5us)");
  add_position_option(options, "--to", given->to, "Last frame, likewise");
  options.flag("--timestamps", given->timestamps, "Print \"timestamp format v2\" instead, for mkvmerge --timestamps")
      .excludes("--json")
      .excludes("--csv");
  return [given] { return list(*given); };
}

}  // namespace frames
