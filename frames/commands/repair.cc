// zel-frames repair: what is whole after a kill or a full disk.
#include <algorithm>
#include <string>
#include <vector>

#include "formats/sidecar.h"
#include "frames/commands/command.h"
#include "frames/common/unusable.h"
#include "frames/media/movie.h"
#include "frames/media/raw_stream.h"
#include "frames/print/written.h"

namespace frames {
namespace {

struct RepairOptions {
  CaptureOptions capture;
  OutputOptions output;
  bool json = false;
};

/// What is not kept.
struct Dropped {
  std::size_t frames = 0;
  std::uint64_t bytes = 0;
  std::vector<std::string> reasons;  ///< a line each
};

std::string counted(std::uint64_t count, const char *one, const char *many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
}

/// The frames' bytes of a raw stream are those up to the end of the last one: they follow each other without gaps.
Dropped dropped_of_raw(const Capture &capture) {
  const FrameTable &frames = capture.frames;
  const std::size_t count = frames.count;
  const std::uint64_t kept = count == 0 ? 0 : frames.offset[count - 1] + frames.size[count - 1];
  Dropped dropped;
  dropped.frames = capture.has_sidecar ? capture.records - count : 0;
  dropped.bytes = capture.raw_bytes() - kept;
  if (dropped.frames > 0) {
    const bool is_cut = capture.findings.counts().contains("raw-size");
    dropped.reasons.push_back(
        fmt::format("{} dropped: {}", counted(dropped.frames, "record", "records"),
                    is_cut ? "the stream ends before their frames do" : "the trailer does not count them"));
  }
  if (dropped.bytes > 0) {
    const bool has_frame = dropped.frames > 0;
    dropped.reasons.push_back(
        fmt::format("{} of the stream dropped: {}", counted(dropped.bytes, "byte", "bytes"),
                    has_frame ? "they are of frames that were dropped" : "no whole record tells of them"));
  }
  return dropped;
}

Dropped dropped_of_matroska(const Capture &capture) {
  Dropped dropped;
  dropped.bytes = capture.tail_bytes;
  dropped.frames = capture.tail_has_frame ? 1 : 0;
  if (dropped.bytes > 0) {
    dropped.reasons.push_back(fmt::format("{} dropped: they are no whole frame with its time",
                                          counted(dropped.bytes, "byte at the end", "bytes at the end")));
  }
  if (capture.has_sidecar && capture.records > capture.frames.count) {
    dropped.frames = capture.records - capture.frames.count;
    dropped.reasons.push_back(fmt::format("{} of the sidecar dropped: the file does not hold their frames",
                                          counted(dropped.frames, "record", "records")));
  }
  if (capture.frames_without_cue > 0) {
    dropped.reasons.push_back(fmt::format("{} without a cue: times in whole milliseconds",
                                          counted(capture.frames_without_cue, "frame", "frames")));
  }
  return dropped;
}

void require_kind(const Capture &capture, const std::string &output) {
  const std::optional<Container> wanted = container_named(output);
  if (capture.kind != SourceKind::kContainer) {
    if (!wanted) return;
    unusable("{}: a raw stream is repaired to one with its sidecar: mux then makes a playable file", output);
  }
  if (!capture.is_matroska) unusable("{}: is neither a raw stream nor a Matroska file", capture.name);
  if (wanted != Container::kMatroska) unusable("{}: a Matroska file is repaired to a .mkv", output);
}

Dropped repair_raw(const RepairOptions &options, const Capture &capture) {
  const OutputOptions &output = options.output;
  OutputFile stream(output.path, output.force, capture.files);
  OutputFile sidecar(output.path + std::string(formats::kSidecarSuffix), output.force, capture.files);
  (void)write_raw_stream(capture, {.from = 0, .to = capture.frames.count}, stream, sidecar);
  publish({&stream, &sidecar});
  return dropped_of_raw(capture);
}

Dropped repair_matroska(const RepairOptions &options, Capture &capture) {
  OutputFile file(options.output.path, options.output.force, capture.files);
  (void)write_movie(capture, {.from = 0, .to = capture.frames.count}, Container::kMatroska, file);
  publish({&file});
  return dropped_of_matroska(capture);
}

int repair(const RepairOptions &options) {
  Capture capture = open_capture(options.capture);
  require_bytes(capture);
  require_kind(capture, options.output.path);
  const bool is_raw = capture.kind != SourceKind::kContainer;
  const Dropped dropped = is_raw ? repair_raw(options, capture) : repair_matroska(options, capture);
  if (options.json) {
    print_written_json(
        {{"frames", capture.frames.count}, {"dropped_frames", dropped.frames}, {"dropped_bytes", dropped.bytes}});
    return kExitGood;
  }
  print_written_line(fmt::format("{}: {}", options.output.path, counted(capture.frames.count, "frame", "frames")));
  for (const std::string &reason : dropped.reasons)
    print_written_line(reason);
  return kExitGood;
}

}  // namespace

Run add_repair(Options &options) {
  auto given = std::make_shared<RepairOptions>();
  add_output_options(options, given->output,
                     "The file to make: a raw stream with its sidecar, or .mkv of a Matroska file");
  add_capture_options(options, given->capture);
  add_json_option(options, given->json);
  return [given] { return repair(*given); };
}

}  // namespace frames
