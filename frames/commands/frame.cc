// zel-frames frame: one frame's picture or bytes.
#include <string>
#include <vector>

#include "frames/commands/command.h"
#include "frames/common/output_file.h"
#include "frames/common/suffix.h"
#include "frames/common/unusable.h"
#include "frames/media/picture_file.h"
#include "frames/print/output.h"
#include "frames/print/written.h"

namespace frames {
namespace {

struct FrameOptions {
  CaptureOptions capture;
  OutputOptions output;
  std::string number;
  bool json = false;
};

std::vector<std::uint8_t> own_bytes(const Capture &capture, std::size_t frame) {
  const std::unique_ptr<FrameReader> reader = capture.open_bytes(capture);
  const std::span<const std::uint8_t> bytes = reader->read(frame);
  return {bytes.begin(), bytes.end()};
}

/// What goes into the file, as its name says.
std::vector<std::uint8_t> contents(const Capture &capture, std::size_t frame, const std::string &path) {
  if (path == "-" || has_suffix(path, ".png")) return png_of_frame(capture, frame);
  const bool is_jpeg = has_suffix(path, ".jpg") || has_suffix(path, ".jpeg");
  if (is_jpeg && require_codec(capture) != formats::Codec::kJpeg) {
    unusable("{}: frame {}: is {}, only a JPEG stream's frames are JPEG files: .png makes a picture of any",
             capture.name, frame, formats::codec_name(*capture.codec));
  }
  return own_bytes(capture, frame);
}

std::size_t frame_number(const std::string &text) {
  const std::optional<Position> position = parse_position(text);
  if (!position || !position->frame) unusable("N: {} is no frame's number", text);
  return *position->frame;
}

int store_frame(const FrameOptions &options) {
  const std::size_t number = frame_number(options.number);
  const std::string &path = options.output.path;
  const bool is_piped = path == "-";
  if (is_piped && options.json) unusable("-: the picture goes to standard output, which --json needs");
  const Capture capture = open_capture(options.capture);
  require_bytes(capture);
  const std::size_t frame = frame_at(capture, {.frame = number, .after_us = std::nullopt});
  if (is_piped) {
    const std::vector<std::uint8_t> bytes = contents(capture, frame, path);
    Output output;
    output.put({reinterpret_cast<const char *>(bytes.data()), bytes.size()});
    output.flush();
    return kExitGood;
  }
  OutputFile file(path, options.output.force, capture.files);
  const std::vector<std::uint8_t> bytes = contents(capture, frame, path);
  file.write(bytes);
  publish({&file});
  if (options.json) {
    print_written_json({{"file", path}, {"frame", frame}, {"bytes", bytes.size()}});
  } else {
    print_written_line(fmt::format("{}: frame {}, {} bytes", path, frame, bytes.size()));
  }
  return kExitGood;
}

}  // namespace

Run add_frame(Options &options) {
  auto given = std::make_shared<FrameOptions>();
  options.operand("N", given->number, "The frame's number, from 0").required();
  add_output_options(options, given->output,
                     "The file to make: .png, .jpg of a JPEG stream, or the codec's bytes under any other name; - for "
                     "PNG on standard output");
  add_capture_options(options, given->capture);
  add_json_option(options, given->json);
  return [given] { return store_frame(*given); };
}

}  // namespace frames
