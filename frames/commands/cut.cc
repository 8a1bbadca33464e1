// zel-frames cut: a range of frames.
#include <string>

#include "formats/sidecar.h"
#include "frames/commands/command.h"
#include "frames/common/unusable.h"
#include "frames/media/movie.h"
#include "frames/media/raw_stream.h"
#include "frames/print/written.h"

namespace frames {
namespace {

struct CutOptions {
  CaptureOptions capture;
  OutputOptions output;
  std::optional<Position> from;
  std::optional<Position> to;
  bool exact = false;
  bool json = false;
};

/// The key frame from which the frame can be decoded.
std::size_t start_of(const Capture &capture, std::size_t from, bool exact) {
  const std::unique_ptr<FrameReader> reader = capture.open_bytes(capture);
  const std::optional<std::size_t> key = key_frame_before(capture, *reader, from);
  if (!key) unusable("{}: frame {}: no key frame stands before it", capture.name, from);
  if (exact && *key != from) {
    unusable("{}: frame {}: is no key frame, the one before is frame {}", capture.name, from, *key);
  }
  return *key;
}

FrameRange range_of(const CutOptions &options, const Capture &capture) {
  const std::size_t from = frame_at(capture, *options.from);
  const std::size_t last = frame_at(capture, *options.to);
  if (from > last) unusable("{}: --from is frame {}, which is behind --to, frame {}", capture.name, from, last);
  return {.from = start_of(capture, from, options.exact), .to = last + 1};
}

std::uint64_t write(const CutOptions &options, Capture &capture, const FrameRange &range) {
  const OutputOptions &output = options.output;
  OutputFile file(output.path, output.force, capture.files);
  if (const std::optional<Container> container = container_named(output.path)) {
    const std::uint64_t bytes = write_movie(capture, range, *container, file);
    publish({&file});
    return bytes;
  }
  OutputFile sidecar(output.path + std::string(formats::kSidecarSuffix), output.force, capture.files);
  const std::uint64_t bytes = write_raw_stream(capture, range, file, sidecar);
  publish({&file, &sidecar});
  return bytes;
}

int cut(const CutOptions &options) {
  Capture capture = open_capture(options.capture);
  require_bytes(capture);
  const FrameRange range = range_of(options, capture);
  const std::uint64_t bytes = write(options, capture, range);
  const std::size_t asked = frame_at(capture, *options.from);
  if (range.from != asked) {
    print_note(
        fmt::format("{}: begins with frame {}, the key frame before frame {}", options.output.path, range.from, asked));
  }
  if (options.json) {
    print_written_json({{"from", range.from}, {"to", range.to - 1}, {"frames", range.count()}, {"bytes", bytes}});
  } else {
    print_written_line(fmt::format("{}: frames {} to {}: {} frames, {} bytes", options.output.path, range.from,
                                   range.to - 1, range.count(), bytes));
  }
  return kExitGood;
}

}  // namespace

Run add_cut(Options &options) {
  auto given = std::make_shared<CutOptions>();
  add_position_option(options, "--from", given->from,
                      "First frame: a number, or a time after the first (12.5s, 200ms, 5us)")
      .required();
  add_position_option(options, "--to", given->to, "Last frame, likewise").required();
  options.flag("--exact", given->exact, "Refuse to begin before --from, which must then be a key frame");
  add_output_options(options, given->output, "The file to make: .mkv, .mp4, or a raw stream with its sidecar");
  add_capture_options(options, given->capture);
  add_json_option(options, given->json);
  return [given] { return cut(*given); };
}

}  // namespace frames
