// The one table of settings.
#include "settings/table.h"

#include <array>
#include <charconv>
#include <limits>

namespace camera {
namespace {

constexpr double kAny = std::numeric_limits<std::uint32_t>::max();
constexpr const char *kNoEffect = "No effect in software.";

/// A setting whose other fields are to be filled in. Without an `effect` it has none.
constexpr Setting setting(const char *key, Kind kind, const char *preset, const char *effect) {
  return {.key = key,
          .kind = kind,
          .preset = preset,
          .acts = effect != nullptr,
          .effect = effect != nullptr ? effect : kNoEffect};
}
constexpr Setting boolean(const char *key, const char *preset, const char *effect) {
  return setting(key, Kind::kBoolean, preset, effect);
}
constexpr Setting number(const char *key, double minimum, double maximum, const char *preset, const char *effect) {
  Setting made = setting(key, Kind::kUnsigned, preset, effect);
  made.minimum = minimum;
  made.maximum = maximum;
  return made;
}
template <std::size_t kCount>
constexpr Setting choice(const char *key, const std::array<Choice, kCount> &choices, const char *preset,
                         const char *effect) {
  Setting made = setting(key, Kind::kChoice, preset, effect);
  made.choices = choices;
  return made;
}
constexpr Setting text(const char *key, const char *words, const char *preset, const char *effect) {
  Setting made = setting(key, Kind::kText, preset, effect);
  made.words = words;
  return made;
}
constexpr Setting with_zero(Setting setting, const char *zero) {
  setting.zero = zero;
  return setting;
}
constexpr Setting derived(Setting setting, const char *how) {
  setting.derived = how;
  return setting;
}
constexpr Setting without_effect(Setting setting, const char *why) {
  setting.effect = why;
  return setting;
}
constexpr Setting of_kind(Setting setting, Kind kind) {
  setting.kind = kind;
  return setting;
}

constexpr const char *kCropPart = "No effect by itself; a client folds width and height into \"crop\".";

constexpr std::array kSettings = {
    // What is delivered.
    choice("format", kFormats, "h264", "The coding of the frames."),
    derived(of_kind(number("resolution", 16, 8192, nullptr,
                           "Width and height of the delivered picture. Both must be "
                           "even unless the format is jpeg, gray or rgb."),
                    Kind::kPair),
            "1280x720; the size of the crop or of the source when there is one"),
    derived(of_kind(number("framerate", 0.1, 1000, nullptr, "Frames a second."), Kind::kDouble),
            "30, or the rate of the source"),
    derived(boolean("framerate.auto", nullptr, "The camera chooses the frame rate; \"framerate\" is not looked at."),
            "true without \"framerate\""),
    choice("h264.profile", kH264Profiles, "high", "Profile of H.264."),
    choice("h265.profile", kH265Profiles, "main", "Profile of H.265; main10 codes 10 bits a sample."),
    derived(choice("rc.mode", kRateControls, nullptr,
                   "cqp: fixed quantiser from \"compression\" and \"qp.*\"; cbr: constant bit rate; vbr: average bit "
                   "rate; mbr: quality from \"compression\", at most \"bitrate\"; abr: average of "
                   "\"abr.target_bitrate\"."),
            "cqp when \"compression\" or a \"qp.*\" is asked for without \"bitrate\", else vbr"),
    choice("rc.prio", kRatePriorities, "none", nullptr),
    choice("timestamp.type", kTimestampTypes, "monotonic",
           "The custom timestamp of a frame: monotonic: its timestamp; utc: its wall-clock time; elapsed: microseconds "
           "since the stream's first frame; sequence: its sequence number."),
    choice("buffer.access", kBufferAccesses, "read", "Without bit 0 (none, write) the chunks have no data pointer."),
    choice("buffer.strategy", kBufferStrategies, "automatic",
           "service: the stream brings \"buffer.count\" buffers of its own and refuses to allocate others."),
    number("input", 0, 3, "0",
           "The scene: 0 the source of the key file or the moving test picture, 1 colour bars, 2 a fractal, 3 a still "
           "gray picture."),
    number("channel", 0, 4, "0", "The view: 0 the whole scene, 1 to 4 a quarter of it (row by row)."),
    derived(with_zero(number("bitrate", 8000, 500e6, nullptr, "Bits a second."), "automatic"), "0.07 bits a pixel"),
    boolean("dynamic", "false", nullptr),
    boolean("dynamic.gop", "false",
            "In a still scene key frames come at \"lumo.max_gop_length\" instead of \"gop_length\"."),
    boolean("dynamic.force", "false", "Allows \"dynamic.gop\" and \"lumo.gop_mode\" together."),
    boolean("dynamic.bitrate", "false", nullptr),
    boolean("dynamic.framerate", "false", "In a still scene frames are left out, as with \"lumo.fps_mode\" 1."),
    boolean("dynamic.lumostream", "false", nullptr),
    boolean("dynamic.resolution", "false", nullptr),
    boolean("dynamic.compression", "false", nullptr),
    number("compression", 0, 100, "30", "Quality, 0 best: the quantiser of cqp and mbr, and of JPEG."),
    number("rotation", 0, 270, "0", "Degrees clockwise: 0, 90, 180 or 270. The resolution stays as asked."),
    boolean("horizontal_flip", "false", "Left and right change places."),
    boolean("mirror", "false", "Left and right change places; the same as \"horizontal_flip\", and once with it."),
    text("subformat", nullptr, nullptr, nullptr),
    with_zero(number("simd.align", 1, 4096, "1",
                     "Rows of uncompressed pictures are padded to a multiple of so many "
                     "bytes; a power of two."),
              "1"),
    derived(with_zero(number("gop_length", 1, 65535, nullptr, "Frames from one key frame to the next."),
                      "the first frame only"),
            "two seconds"),
    boolean("monochrome", "false", "Pictures without colour."),
    number("buffer.count", 0, 1000, "10", "Buffers that the stream brings under the strategy service; 0: one."),
    number("buffer.device", 0, kAny, "0", nullptr),
    of_kind(text("overlays", "off text image application all sync", "off",
                 "text or all: the date and time (UTC) at the top left. Words, separated by spaces or commas."),
            Kind::kWords),
    boolean("sign", "false", nullptr),
    boolean("privacy", "false", "A black mask over the middle of the picture."),
    text("meta.provider", nullptr, nullptr, nullptr),
    boolean("frame.chunks", "false",
            "A frame with a codec header comes in two chunks: the header and the rest. Otherwise one chunk."),
    with_zero(number("buffer_us", 1, kAny, "0",
                     "After the start the stream keeps the frames of the last so many microseconds until it is told to "
                     "play, then delivers them from a key frame on."),
              "delivers at once"),
    text("ir.palette", nullptr, nullptr, nullptr),
    boolean("interactive", "false", "\"socket.blocking\" is false unless asked for."),
    derived(boolean("socket.blocking", nullptr, "false: a fetch with nothing to fetch fails with code 13 at once."),
            "true; false with \"interactive\""),
    number("sync.stream_id", 0, kAny, "0", nullptr),
    text("sync.strategy", "match interleave", nullptr, nullptr),
    text("pipeline", nullptr, nullptr, nullptr),
    boolean("snapshot", "false", "The stream ends after one frame, each time that it is started."),
    number("square", 0, 1, "0", nullptr),
    boolean("layers", "false", nullptr),
    number("yuv.input.width", 0, 8192, "0", nullptr),
    number("yuv.input.height", 0, 8192, "0", nullptr),
    number("qp.i", 0, 51, nullptr, "Quantiser of key frames (cqp). H.264 and H.265."),
    number("qp.p", 0, 51, nullptr, "Quantiser of predicted frames (cqp). H.264, H.265 and, scaled, AV1."),
    number("qp.b", 0, 51, nullptr, nullptr),
    number("h265.qmap.category", 0, kAny, "0", nullptr),
    number("lumo.strength", 0, 100, "0", nullptr),
    with_zero(number("lumo.max_gop_length", 1, 65535, "300",
                     "Frames between key frames in a still scene under \"dynamic.gop\" or \"lumo.gop_mode\" 1."),
              "no limit"),
    number("lumo.gop_mode", 0, 1, "0", "1: the same as \"dynamic.gop\"."),
    number("lumo.fps_mode", 0, 1, "0", "1: in a still scene frames are left out, as \"lumo.skip_mode\" says."),
    number("lumo.skip_mode", 0, 1, "0",
           "0: a frame that is left out is not delivered; 1: it is delivered empty, but jpeg and uncompressed frames, "
           "which are all key frames, in full."),
    number("lumo.min_fps_num", 0, 1000, "1", "A still scene still gets this many frames ..."),
    number("lumo.min_fps_den", 1, 1000, "1", "... in this many seconds."),
    choice("lumo.profile", kLumostreamProfiles, "classic", nullptr),
    choice("lumo.gdr", kLumostreamGdrs, "off", nullptr),
    number("debug.lumo.sync_type", 0, 1, "0", nullptr),
    number("debug.lumo.intra_refresh", 0, kAny, "0", nullptr),
    of_kind(
        number("segment.duration", 0, kAny, nullptr,
               "Milliseconds: minimum, target, maximum. A segment starts at the first key frame from the target on, "
               "or from the minimum on without a target; at the maximum a key frame is made. 0: no limit."),
        Kind::kTriple),
    of_kind(number("segment.bytes", 0, kAny, nullptr, "The same in bytes."), Kind::kTriple),
    derived(with_zero(number("abr.target_bitrate", 8000, 500e6, nullptr, "Bits a second under \"rc.mode\" abr."),
                      "\"bitrate\""),
            "\"bitrate\""),
    number("abr.retention_time", 0, kAny, "0", nullptr),
    without_effect(number("crop.width", 0, kAny, nullptr, nullptr), kCropPart),
    without_effect(number("crop.height", 0, kAny, nullptr, nullptr), kCropPart),
    without_effect(number("crop.x", 0, kAny, nullptr, nullptr), kCropPart),
    without_effect(number("crop.y", 0, kAny, nullptr, nullptr), kCropPart),
    of_kind(number("crop", 0, kAny, nullptr,
                   "x, y, width, height: the part of the scene that is delivered, scaled to the resolution. The scene "
                   "of a picture that the camera draws is 1920x1080 then."),
            Kind::kQuad),
    text("SAR", nullptr, nullptr, nullptr),
    text("image.fit", "crop scale stretch", "stretch",
         "How a scene of another shape is fitted into the resolution: crop: clipped, scale: shrunk between black bars, "
         "stretch: distorted."),
    number("intent", 0, kAny, nullptr, nullptr),
};

std::string number_text(double value) {
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed).ptr;
  return {digits.data(), end};
}

std::string listed(std::span<const Choice> choices) {
  std::string list;
  for (const Choice &one : choices) {
    if (one.value == kFormatUnknown) continue;
    list += (list.empty() ? "" : ", ") + std::string(one.nick);
  }
  return list;
}

std::string listed(std::string_view words) {
  std::string list;
  for (const char letter : words)
    list += letter == ' ' ? std::string(", ") : std::string(1, letter);
  return list;
}

}  // namespace

std::span<const Setting> all_settings() {
  return kSettings;
}

const Setting *find_setting(std::string_view key) {
  for (const Setting &setting : kSettings) {
    if (key == setting.key) return &setting;
  }
  return nullptr;
}

std::string accepted_text(const Setting &setting) {
  std::string range = number_text(setting.minimum) + " to " + number_text(setting.maximum);
  switch (setting.kind) {
    case Kind::kBoolean:
      return "true, false";
    case Kind::kChoice:
      return listed(setting.choices);
    case Kind::kText:
      return setting.words != nullptr ? listed(std::string_view(setting.words)) : "any text";
    case Kind::kWords:
      return "one or more of " + listed(std::string_view(setting.words));
    case Kind::kPair:
      return "two numbers, each " + range;
    case Kind::kTriple:
      return "minimum, target, maximum, each " + range;
    case Kind::kQuad:
      return "four numbers, each " + range;
    case Kind::kUnsigned:
    case Kind::kDouble:
      break;
  }
  return setting.zero != nullptr ? range + ", or 0: " + setting.zero : range;
}

std::string default_text(const Setting &setting) {
  if (setting.derived != nullptr) return setting.derived;
  return setting.preset != nullptr ? setting.preset : "none";
}

}  // namespace camera
