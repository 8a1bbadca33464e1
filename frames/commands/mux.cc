// zel-frames mux: a playable file.
#include "frames/commands/command.h"
#include "frames/common/unusable.h"
#include "frames/media/movie.h"
#include "frames/print/written.h"

namespace frames {
namespace {

struct MuxOptions {
  CaptureOptions capture;
  OutputOptions output;
  bool json = false;
};

int mux(const MuxOptions &options) {
  const std::optional<Container> container = container_named(options.output.path);
  if (!container) unusable("{}: is neither a .mkv nor a .mp4", options.output.path);
  Capture capture = open_capture(options.capture);
  const FrameRange all{.from = 0, .to = capture.frames.count};
  if (all.count() == 0) unusable("{}: has no frames", capture.name);
  OutputFile file(options.output.path, options.output.force, capture.files);
  (void)write_movie(capture, all, *container, file);
  publish({&file});
  const std::optional<std::uint64_t> bytes = file.size();
  if (options.json) {
    nlohmann::ordered_json object = {{"file", file.path()}, {"frames", all.count()}};
    if (bytes) object["bytes"] = *bytes;
    print_written_json(object);
  } else {
    print_written_line(
        fmt::format("{}: {} frames, {} bytes", file.path(), all.count(), bytes ? std::to_string(*bytes) : "-"));
  }
  return kExitGood;
}

}  // namespace

Run add_mux(Options &options) {
  auto given = std::make_shared<MuxOptions>();
  given->capture.figures_only = true;
  add_output_options(options, given->output, "The file to make: .mkv or .mp4");
  add_capture_options(options, given->capture);
  add_json_option(options, given->json);
  return [given] { return mux(*given); };
}

}  // namespace frames
