// Opening a capture as the request says it is, and checking that it is so.
#include "producer/captured_files.h"

#include <cmath>
#include <string>
#include <utility>

#include "common/errors.h"
#include "encoder/encoder.h"
#include "formats/bitstream.h"
#include "formats/capture/source.h"
#include "formats/capture/unusable.h"
#include "pacing/timeline.h"
#include "producer/captured.h"

namespace camera {
namespace {

/// Standard input, which the name "-" means to the readers, is the client's.
std::string file_name(const std::string &name) {
  return name == "-" ? "./-" : name;
}

/// Calls `read`; what cannot be used is said of the key.
template <typename Read>
auto reading(const char *key, Read read) {
  try {
    return read();
  } catch (const formats::Unusable &why) {
    throw UnusableFile(std::string("[camera] ") + key + ": " + why.what());
  }
}

std::uint32_t format_of(formats::Codec codec) {
  for (const Choice &choice : kFormats)
    if (formats::codec_named(choice.nick) == codec) return choice.value;
  return kFormatUnknown;
}

std::uint32_t asked_format(const Values &request) {
  return value_or<std::uint32_t>(request, "format", kFormatH264);
}

/// The codec that is asked for; none for a format that no stream has.
std::optional<formats::Codec> asked_codec(const Values &request) {
  const char *nick = nick_of(kFormats, asked_format(request));
  return nick != nullptr ? formats::codec_named(nick) : std::nullopt;
}

/// Frames of which no codec is known are uncompressed pictures, which have one size, or spoiled ones of the codec that
/// is asked for.
bool have_one_size(const formats::FrameTable &frames) {
  for (std::size_t i = 1; i < frames.count; ++i)
    if (frames.size[i] != frames.size[0]) return false;
  return true;
}

/// `options` has what else is known of it.
formats::Capture open_frames(const CameraConfig &config, formats::CaptureOptions options) {
  options.capture = file_name(config.capture);
  formats::Capture capture = reading("capture", [&] {
    formats::Capture opened = formats::open_capture(options);
    formats::require_bytes(opened);
    if (opened.kind == formats::SourceKind::kContainer) (void)formats::require_codec(opened);
    if (opened.frames.count == 0) formats::unusable("{}: holds no frame", opened.name);
    formats::find_picture_size(opened);
    return opened;
  });
  if (!config.console.empty()) reading("console", [&] { formats::join_console(capture, file_name(config.console)); });
  return capture;
}

/// The rate at which the frames came: a whole number, or that of a television system, where the usual distance is its.
double framerate_of(const formats::FrameTable &frames) {
  const std::optional<std::uint64_t> distance_us = nominal_distance_us(frames);
  if (!distance_us) return 0;
  constexpr double kSecond = 1e6;
  constexpr double kTelevision = 1.001;
  const double measured = kSecond / static_cast<double>(*distance_us);
  const double whole = std::round(measured);
  for (const double rate : {whole, std::round(measured * kTelevision) / kTelevision}) {
    if (rate > 0 && std::abs(kSecond / rate - static_cast<double>(*distance_us)) < 1) return rate;
  }
  return measured;
}

/// Whether the capture is uncompressed pictures of the plan: frames of their size, and nothing behind the last one.
bool fits(const formats::Capture &capture, const Plan &plan) {
  const std::size_t size = frame_capacity(plan);
  for (std::size_t i = 0; i < capture.frames.count; ++i)
    if (capture.frames.size[i] != size) return false;
  return true;
}

bool fail_setting(GError **error, const std::string &text) {
  return fail(error, kErrorSetting, "%s", text.c_str());
}

/// Says why the capture is no pictures of the plan: because it is coded, or because of the first frame that does not
/// fit.
bool check_pictures(const formats::Capture &capture, const Plan &plan, GError **error) {
  const bool is_split = !capture.has_sidecar && capture.findings.counts().contains("raw-size");
  const bool all_fit = fits(capture, plan);
  if (all_fit && !is_split) return true;
  constexpr std::size_t kStart = 64;
  const auto codec = formats::guess_codec(capture.open_bytes(capture)->read_start(0, kStart));
  if (codec) {
    return fail_setting(error, "format: " + std::to_string(plan.format) + " is not accepted (" +
                                   std::string(formats::codec_name(*codec)) + ": that of the capture)");
  }
  if (all_fit) return true;
  std::size_t frame = 0;
  while (capture.frames.size[frame] == frame_capacity(plan))
    ++frame;
  return fail_setting(error, "resolution: " + std::to_string(plan.width) + "x" + std::to_string(plan.height) +
                                 " is not accepted (" + nick_of(kFormats, plan.format) + " frames of it have " +
                                 std::to_string(frame_capacity(plan)) + " bytes, frame " + std::to_string(frame) +
                                 " of the capture has " + std::to_string(capture.frames.size[frame]) + ")");
}

/// A request for uncompressed frames says itself what they are.
std::optional<OpenedCapture> open_pictures(const CameraConfig &config, const Values &request, formats::Codec codec,
                                           GError **error) {
  const std::optional<Grant> asked = grant(request, SourceShape(), error);
  if (!asked) return std::nullopt;
  formats::Capture capture =
      open_frames(config, {.capture = {}, .format = codec, .width = asked->plan.width, .height = asked->plan.height});
  SourceShape shape{.framerate = framerate_of(capture.frames)};
  if (capture.kind == formats::SourceKind::kContainer) shape.format = format_of(require_codec(capture));
  std::optional<Grant> granted = grant(request, shape, error);
  if (!granted || !check_pictures(capture, granted->plan, error)) return std::nullopt;
  return OpenedCapture{std::move(capture), codec, *std::move(granted)};
}

}  // namespace

std::optional<OpenedCapture> open_configured_capture(const CameraConfig &config, const Values &request,
                                                     GError **error) {
  const std::optional<formats::Codec> asked = asked_codec(request);
  if (asked && formats::is_uncompressed(*asked)) return open_pictures(config, request, *asked, error);
  formats::Capture capture = open_frames(config, formats::CaptureOptions());
  if (!capture.codec && have_one_size(capture.frames)) {
    (void)fail_setting(error, "format: " + std::to_string(asked_format(request)) +
                                  " is not accepted (nv12, i420, gray or rgb: the capture is not coded)");
    return std::nullopt;
  }
  if (!capture.codec) capture.codec = asked.value_or(formats::Codec::kH264);
  const SourceShape shape{capture.width, capture.height, framerate_of(capture.frames), format_of(*capture.codec)};
  std::optional<Grant> granted = grant(request, shape, error);
  if (!granted) return std::nullopt;
  const formats::Codec codec = *capture.codec;
  return OpenedCapture{std::move(capture), codec, *std::move(granted)};
}

}  // namespace camera
