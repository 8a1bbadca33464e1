// Checks and defaults, setting by setting, then what settings mean together.
#include "settings/grant.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numeric>
#include <stdexcept>
#include <type_traits>

#include "common/errors.h"
#include "settings/table.h"

namespace camera {
namespace {

constexpr std::uint32_t kSceneWidth = 1920;
constexpr std::uint32_t kSceneHeight = 1080;
constexpr std::uint32_t kDefaultWidth = 1280;
constexpr std::uint32_t kDefaultHeight = 720;
constexpr double kDefaultFramerate = 30;
constexpr double kBitsPerPixel = 0.07;

/// Thrown with the whole message when a setting is unusable.
struct Refused : std::runtime_error {
  using std::runtime_error::runtime_error;
};

[[noreturn]] void refuse(const Setting &setting, const std::string &value) {
  throw Refused(std::string(setting.key) + ": " + value + " is not accepted (" + accepted_text(setting) + ")");
}

template <typename Number>
void check_number(const Setting &setting, Number value) {
  if (value == 0 && setting.zero != nullptr) return;
  if (value >= setting.minimum && value <= setting.maximum) return;
  std::array<char, 32> text{};
  char *end = text.data();
  if constexpr (std::is_floating_point_v<Number>) {
    end = std::to_chars(end, end + text.size(), value, std::chars_format::general, 6).ptr;
  } else {
    end = std::to_chars(end, end + text.size(), value).ptr;
  }
  refuse(setting, std::string(text.data(), end));
}

bool is_word(std::string_view words, std::string_view word) {
  while (!words.empty()) {
    const std::size_t end = std::min(words.find(' '), words.size());
    if (words.substr(0, end) == word) return true;
    words.remove_prefix(std::min(end + 1, words.size()));
  }
  return false;
}

/// Calls `visit` with each of the words of `text`, which spaces or commas separate.
template <typename Visit>
void for_each_word(std::string_view text, Visit visit) {
  constexpr std::string_view kSeparators = " ,";
  while (true) {
    const std::size_t begin = text.find_first_not_of(kSeparators);
    if (begin == std::string_view::npos) return;
    text.remove_prefix(begin);
    const std::size_t end = std::min(text.find_first_of(kSeparators), text.size());
    visit(text.substr(0, end));
    text.remove_prefix(end);
  }
}

void check_text(const Setting &setting, const std::string &value) {
  if (setting.words == nullptr) return;
  if (setting.kind == Kind::kText) {
    if (!is_word(setting.words, value)) refuse(setting, '"' + value + '"');
    return;
  }
  bool any = false;
  for_each_word(value, [&](std::string_view word) {
    any = true;
    if (!is_word(setting.words, word)) refuse(setting, '"' + value + '"');
  });
  if (!any) refuse(setting, '"' + value + '"');
}

template <typename Stored>
const Stored &stored_as(const Setting &setting, const Value &value) {
  const Stored *stored = std::get_if<Stored>(&value);
  if (stored == nullptr) refuse(setting, "a value of another type");
  return *stored;
}

void check(const Setting &setting, const Value &value) {
  switch (setting.kind) {
    case Kind::kBoolean:
      (void)stored_as<bool>(setting, value);
      break;
    case Kind::kUnsigned:
      check_number(setting, stored_as<std::uint32_t>(setting, value));
      break;
    case Kind::kDouble:
      check_number(setting, stored_as<double>(setting, value));
      break;
    case Kind::kChoice: {
      const auto number = stored_as<std::uint32_t>(setting, value);
      if (nick_of(setting.choices, number) == nullptr || number == kFormatUnknown) {
        refuse(setting, std::to_string(number));
      }
      break;
    }
    case Kind::kText:
    case Kind::kWords:
      check_text(setting, stored_as<std::string>(setting, value));
      break;
    case Kind::kPair: {
      const auto &pair = stored_as<zel_pair32u>(setting, value);
      if (pair.first < setting.minimum || pair.first > setting.maximum || pair.second < setting.minimum ||
          pair.second > setting.maximum) {
        refuse(setting, std::to_string(pair.first) + "x" + std::to_string(pair.second));
      }
      break;
    }
    case Kind::kTriple:
    case Kind::kQuad:
      (void)stored_as<zel_quad32u>(setting, value);
      break;
  }
}

Value preset_value(const Setting &setting) {
  const std::string_view text = setting.preset;
  switch (setting.kind) {
    case Kind::kBoolean:
      return text == "true";
    case Kind::kChoice:
      for (const Choice &choice : setting.choices) {
        if (text == choice.nick) return choice.value;
      }
      break;
    case Kind::kUnsigned: {
      std::uint32_t number = 0;
      (void)std::from_chars(text.data(), text.data() + text.size(), number);
      return number;
    }
    default:
      break;
  }
  return std::string(text);
}

/// Settings with the defaults that do not depend on others.
Values checked_with_presets(const Values &request) {
  Values settings;
  for (const auto &[key, value] : request) {
    const Setting *setting = find_setting(key);
    if (setting == nullptr) throw Refused(key + ": unknown setting");
    check(*setting, value);
    settings[key] = value;
  }
  for (const Setting &setting : all_settings()) {
    if (setting.preset != nullptr) settings.try_emplace(setting.key, preset_value(setting));
  }
  return settings;
}

/// The settings while they are made into a plan.
class Planner {
 public:
  Planner(const Values &request, const SourceShape &source)
      : settings_(checked_with_presets(request)),
        source_(source),
        format_asked_(request.contains("format")),
        quality_asked_(request.contains("compression")) {}

  Grant run() {
    plan_format();
    if (source_.format && source_.width != 0) {
      plan_coded_size();
    } else {
      plan_size();
    }
    plan_rate();
    plan_coding();
    plan_still_scene();
    plan_picture();
    plan_delivery();
    plan_segments();
    return {std::move(settings_), plan_};
  }

 private:
  bool has(std::string_view key) const { return settings_.find(key) != settings_.end(); }
  std::uint32_t number(std::string_view key) const { return value_or<std::uint32_t>(settings_, key, 0); }
  bool truth(std::string_view key) const { return value_or<bool>(settings_, key, false); }
  std::optional<std::uint32_t> asked(std::string_view key) const {
    return has(key) ? std::optional(number(key)) : std::nullopt;
  }

  void plan_format();
  void plan_coded_size();
  void plan_size();
  void plan_rate();
  void plan_coding();
  void plan_still_scene();
  void plan_picture();
  void plan_delivery();
  void plan_segments();

  Values settings_;
  SourceShape source_;
  bool format_asked_;
  bool quality_asked_;
  Plan plan_;
};

/// Formats without subsampled colour take odd sizes; so does JPEG, whose decoder crops.
bool takes_odd_sizes(std::uint32_t format) {
  return format == kFormatGray || format == kFormatRgb || format == kFormatJpeg;
}

void Planner::plan_format() {
  if (source_.format && !format_asked_) settings_["format"] = *source_.format;
  plan_.format = number("format");
  if (source_.format && plan_.format != *source_.format) {
    throw Refused("format: " + std::to_string(plan_.format) + " is not accepted (" +
                  nick_of(kFormats, *source_.format) + ": that of the capture)");
  }
}

/// Pictures that are coded already keep their size, whatever it is.
void Planner::plan_coded_size() {
  const zel_pair32u size{source_.width, source_.height};
  const auto asked = value_or<zel_pair32u>(settings_, "resolution", size);
  if (asked.first != size.first || asked.second != size.second) {
    throw Refused("resolution: " + std::to_string(asked.first) + "x" + std::to_string(asked.second) +
                  " is not accepted (" + std::to_string(size.first) + "x" + std::to_string(size.second) +
                  ": that of the capture)");
  }
  settings_["resolution"] = size;
  plan_.width = size.first;
  plan_.height = size.second;
}

void Planner::plan_size() {
  const zel_quad32u *crop = find_value<zel_quad32u>(settings_, "crop");
  const std::uint32_t parts = number("channel") != 0 ? 2 : 1;  // a quarter is half as wide and half as high
  const std::uint32_t scene_width = (source_.width != 0 ? source_.width : kSceneWidth) / parts;
  const std::uint32_t scene_height = (source_.height != 0 ? source_.height : kSceneHeight) / parts;
  if (crop != nullptr) {
    const bool fits = crop->third >= 16 && crop->fourth >= 16 &&
                      std::uint64_t{crop->first} + crop->third <= scene_width &&
                      std::uint64_t{crop->second} + crop->fourth <= scene_height;
    if (!fits) {
      throw Refused("crop: " + std::to_string(crop->first) + "," + std::to_string(crop->second) + "," +
                    std::to_string(crop->third) + "," + std::to_string(crop->fourth) +
                    " is not accepted (x, y, width, height within the scene of " + std::to_string(scene_width) + "x" +
                    std::to_string(scene_height) + ", at least 16x16)");
    }
    plan_.crop = *crop;
  }
  const bool odd = takes_odd_sizes(plan_.format);
  if (!has("resolution")) {
    zel_pair32u size{kDefaultWidth, kDefaultHeight};
    if (source_.width != 0) size = {source_.width, source_.height};
    if (crop != nullptr) size = {crop->third, crop->fourth};
    if (!odd) size = {size.first & ~1U, size.second & ~1U};
    settings_["resolution"] = size;
    check(*find_setting("resolution"), settings_["resolution"]);
  }
  const zel_pair32u size = std::get<zel_pair32u>(settings_["resolution"]);
  if (!odd && (size.first % 2 != 0 || size.second % 2 != 0)) {
    throw Refused("resolution: " + std::to_string(size.first) + "x" + std::to_string(size.second) +
                  " is not accepted (even numbers from 16 to 8192 for this format)");
  }
  plan_.width = size.first;
  plan_.height = size.second;
}

void Planner::plan_rate() {
  settings_.try_emplace("framerate.auto", !has("framerate"));
  if (truth("framerate.auto")) {
    const Setting &setting = *find_setting("framerate");
    const double rate = source_.framerate > 0 ? source_.framerate : kDefaultFramerate;
    settings_["framerate"] = std::clamp<double>(rate, setting.minimum, setting.maximum);
  }
  if (!has("framerate")) {
    throw Refused("framerate: missing while framerate.auto is false (" + accepted_text(*find_setting("framerate")) +
                  ")");
  }
  plan_.framerate = value_or<double>(settings_, "framerate", kDefaultFramerate);
  // Rates such as 29.97 are typed with two or three digits; 1001 covers those that are fractions of it.
  constexpr std::int64_t kDenominators[] = {1, 1001, 1000, 1'000'000};
  for (const std::int64_t denominator : kDenominators) {
    const double numerator = plan_.framerate * static_cast<double>(denominator);
    if (std::abs(numerator - std::round(numerator)) > 1e-6 && denominator != std::end(kDenominators)[-1]) continue;
    const auto whole = static_cast<std::int64_t>(std::round(numerator));
    const std::int64_t divisor = std::gcd(whole, denominator);
    plan_.rate_numerator = whole / divisor;
    plan_.rate_denominator = denominator / divisor;
    break;
  }
}

void Planner::plan_coding() {
  plan_.profile = number(plan_.format == kFormatH265 ? "h265.profile" : "h264.profile");
  plan_.qp_i = asked("qp.i");
  plan_.qp_p = asked("qp.p");
  const bool wants_bitrate = number("bitrate") != 0;
  if (!wants_bitrate) {
    const double bits = plan_.framerate * plan_.width * plan_.height * kBitsPerPixel;
    const double rounded = std::round(bits / 1000) * 1000;
    settings_["bitrate"] = static_cast<std::uint32_t>(std::clamp(rounded, 64e3, 500e6));
  }
  if (!has("rc.mode")) {
    const bool wants_quality = plan_.qp_i || plan_.qp_p || quality_asked_;
    settings_["rc.mode"] = wants_quality && !wants_bitrate ? kRateConstantQp : kRateVariable;
  }
  if (number("abr.target_bitrate") == 0) settings_["abr.target_bitrate"] = number("bitrate");
  plan_.rate_control = number("rc.mode");
  plan_.bitrate = number(plan_.rate_control == kRateAverage ? "abr.target_bitrate" : "bitrate");
  plan_.compression = number("compression");
  settings_.try_emplace("gop_length", static_cast<std::uint32_t>(std::max(1.0, std::round(plan_.framerate * 2))));
  plan_.gop_length = number("gop_length");
}

void Planner::plan_still_scene() {
  if (truth("dynamic.gop") && number("lumo.gop_mode") == 1 && !truth("dynamic.force")) {
    throw Refused("lumo.gop_mode: 1 is not accepted together with dynamic.gop (unless dynamic.force is true)");
  }
  plan_.gop_stretches = truth("dynamic.gop") || number("lumo.gop_mode") == 1;
  plan_.still_gop_length = number("lumo.max_gop_length");
  plan_.skips_still = truth("dynamic.framerate") || number("lumo.fps_mode") == 1;
  plan_.skipped_are_empty = number("lumo.skip_mode") == 1;
  plan_.still_framerate = static_cast<double>(number("lumo.min_fps_num")) / number("lumo.min_fps_den");
}

void Planner::plan_picture() {
  plan_.input = number("input");
  plan_.channel = number("channel");
  plan_.rotation = number("rotation");
  if (plan_.rotation % 90 != 0) {
    throw Refused("rotation: " + std::to_string(plan_.rotation) + " is not accepted (0, 90, 180 or 270)");
  }
  plan_.mirrored = truth("horizontal_flip") || truth("mirror");
  plan_.monochrome = truth("monochrome");
  plan_.privacy = truth("privacy");
  for_each_word(std::get<std::string>(settings_["overlays"]),
                [&](std::string_view word) { plan_.text_overlay |= word == "text" || word == "all"; });
  const std::string &fit = std::get<std::string>(settings_["image.fit"]);
  plan_.fit = fit == "crop" ? Fit::kCrop : fit == "scale" ? Fit::kScale : Fit::kStretch;
  plan_.alignment = std::max(number("simd.align"), 1U);
  if ((plan_.alignment & (plan_.alignment - 1)) != 0) {
    throw Refused("simd.align: " + std::to_string(plan_.alignment) +
                  " is not accepted (a power of two from 1 to 4096, or 0)");
  }
}

void Planner::plan_delivery() {
  plan_.timestamp_type = number("timestamp.type");
  plan_.access = number("buffer.access");
  plan_.service_buffers = number("buffer.strategy") == kStrategyService;
  plan_.buffer_count = std::max(number("buffer.count"), 1U);
  plan_.chunks = truth("frame.chunks");
  plan_.hold_us = number("buffer_us");
  settings_.try_emplace("socket.blocking", !truth("interactive"));
  plan_.blocking = truth("socket.blocking");
  plan_.snapshot = truth("snapshot");
}

Limits limits_of(const Values &settings, std::string_view key) {
  const auto triple = value_or<zel_quad32u>(settings, key, {});
  const bool ordered = (triple.second == 0 || triple.first <= triple.second) &&
                       (triple.third == 0 || std::max(triple.first, triple.second) <= triple.third);
  if (!ordered) {
    throw Refused(std::string(key) + ": " + std::to_string(triple.first) + "," + std::to_string(triple.second) + "," +
                  std::to_string(triple.third) + " is not accepted (minimum <= target <= maximum, 0: no limit)");
  }
  return {triple.first, triple.second, triple.third};
}

void Planner::plan_segments() {
  plan_.has_segments = has("segment.duration") || has("segment.bytes");
  plan_.segment_ms = limits_of(settings_, "segment.duration");
  plan_.segment_bytes = limits_of(settings_, "segment.bytes");
}

}  // namespace

std::optional<Grant> grant(const Values &request, const SourceShape &source, GError **error) {
  try {
    return Planner(request, source).run();
  } catch (const Refused &refused) {
    fail(error, kErrorSetting, "%s", refused.what());
    return std::nullopt;
  }
}

}  // namespace camera
