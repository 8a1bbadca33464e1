// The filters between the source and the encoder.
#include "picture/picture.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

#include <unistd.h>

#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <utility>

#include "picture/marker.h"

namespace camera {
namespace {

/// Metadata entries of a frame, which drawtext writes.
constexpr const char *kSceneKey = "camera.scene";
constexpr const char *kOverlayKey = "camera.overlay";

std::string size_text(std::uint32_t width, std::uint32_t height) {
  return std::to_string(width) + ":" + std::to_string(height);
}

/// A drawtext filter for the text under a metadata key.
std::string text_filter(const char *key, const std::string &place, std::uint32_t height) {
  constexpr const char *kFont = "/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf";
  const std::string font = access(kFont, R_OK) == 0 ? std::string("fontfile=") + kFont : "font=monospace";
  return "drawtext=" + font + ":text='%{metadata\\:" + key + "}':" + place +
         ":fontcolor=white:box=1:boxcolor=black@0.6:boxborderw=4:fontsize=" + std::to_string(std::max(height / 24, 8U));
}

std::string scene_text(const Capture &capture) {
  constexpr std::uint64_t kSecond = 1'000'000;
  const std::uint64_t seconds = capture.captured_us / kSecond;
  std::array<char, 96> text{};
  (void)std::snprintf(text.data(), text.size(), "%08" PRIu32 "  %02" PRIu64 ":%02" PRIu64 ":%02" PRIu64 ".%06" PRIu64,
                      capture.sequence, seconds / 3600, seconds / 60 % 60, seconds % 60, capture.captured_us % kSecond);
  return text.data();
}

std::string overlay_text(const Capture &capture) {
  constexpr std::uint64_t kSecond = 1'000'000;
  const auto seconds = static_cast<time_t>(capture.utc_us / kSecond);
  tm calendar{};
  (void)gmtime_r(&seconds, &calendar);
  std::array<char, 64> text{};
  (void)std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S UTC", &calendar);
  return text.data();
}

bool same_pixels(const AVFrame &one, const AVFrame &other) {
  if (one.width != other.width || one.height != other.height || one.format != other.format) return false;
  const auto format = static_cast<AVPixelFormat>(one.format);
  const AVPixFmtDescriptor *descriptor = av_pix_fmt_desc_get(format);
  for (int plane = 0; plane < av_pix_fmt_count_planes(format); ++plane) {
    const int bytes = av_image_get_linesize(format, one.width, plane);
    const int rows = plane == 0 ? one.height : AV_CEIL_RSHIFT(one.height, descriptor->log2_chroma_h);
    for (int y = 0; y < rows; ++y) {
      const std::uint8_t *left = one.data[plane] + static_cast<std::ptrdiff_t>(y) * one.linesize[plane];
      const std::uint8_t *right = other.data[plane] + static_cast<std::ptrdiff_t>(y) * other.linesize[plane];
      if (left != right && std::memcmp(left, right, static_cast<std::size_t>(bytes)) != 0) return false;
    }
  }
  return true;
}

}  // namespace

Picture::Picture(const Plan &plan, std::unique_ptr<Source> source, AVPixelFormat pixels, const Writing &writing)
    : plan_(plan),
      source_(std::move(source)),
      pixels_(pixels),
      writing_(writing),
      watches_(plan.skips_still || plan.gop_stretches) {
  current_ = source_->next();
  if (current_ == nullptr) throw AvFailure("The source has no picture");
  (void)render({});  // fonts and tables are loaded now, not while the first frame is due
}

bool Picture::advance() {
  if (!std::exchange(started_, true) && !source_->is_live()) return true;
  AvFrame next = source_->next();
  if (next == nullptr) return false;
  still_ = watches_ && !writing_.scene_text && current_ != nullptr && same_pixels(*current_, *next);
  current_ = std::move(next);
  return true;
}

std::string Picture::chain() const {
  const bool turned = plan_.rotation % 180 != 0;
  const std::string size = turned ? size_text(plan_.height, plan_.width) : size_text(plan_.width, plan_.height);
  std::string filters;
  const auto add = [&](const std::string &filter) { filters += filter + ","; };
  if (writing_.scene_text) {
    const auto height = static_cast<std::uint32_t>(graph_height_);
    add(text_filter(kSceneKey, "x=(w-tw)/2:y=h/3", height));
  }
  if (plan_.channel != 0) {
    const std::uint32_t column = (plan_.channel - 1) % 2;
    const std::uint32_t row = (plan_.channel - 1) / 2;
    add("crop=iw/2:ih/2:" + std::to_string(column) + "*iw/2:" + std::to_string(row) + "*ih/2");
  }
  if (plan_.crop) {
    add("crop=" + size_text(plan_.crop->third, plan_.crop->fourth) + ":" +
        size_text(plan_.crop->first, plan_.crop->second));
  }
  switch (plan_.fit) {
    case Fit::kStretch:
      add("scale=" + size + ":flags=bilinear");
      break;
    case Fit::kCrop:
      add("scale=" + size + ":flags=bilinear:force_original_aspect_ratio=increase");
      add("crop=" + size);
      break;
    case Fit::kScale:
      add("scale=" + size + ":flags=bilinear:force_original_aspect_ratio=decrease");
      add("pad=" + size + ":-1:-1");
      break;
  }
  if (plan_.rotation == 90) add("transpose=clock");
  if (plan_.rotation == 180) add("hflip,vflip");
  if (plan_.rotation == 270) add("transpose=cclock");
  if (plan_.mirrored) add("hflip");
  if (plan_.monochrome) add("hue=s=0");
  if (plan_.privacy) add("drawbox=iw/3:ih/3:iw/3:ih/3:black:fill");
  if (plan_.text_overlay) add(text_filter(kOverlayKey, "x=8:y=8", plan_.height));
  return filters + "setsar=1,format=" + av_get_pix_fmt_name(pixels_);
}

void Picture::build_graph(const AVFrame &picture) {
  graph_format_ = -1;  // until it is complete
  graph_width_ = picture.width;
  graph_height_ = picture.height;
  graph_.reset(avfilter_graph_alloc());
  if (graph_ == nullptr) throw std::bad_alloc();
  graph_->nb_threads = 1;
  std::array<char, 128> entry{};
  (void)std::snprintf(entry.data(), entry.size(), "video_size=%dx%d:pix_fmt=%d:time_base=1/1000000:pixel_aspect=1/1",
                      picture.width, picture.height, picture.format);
  av_check(
      avfilter_graph_create_filter(&entry_, avfilter_get_by_name("buffer"), "in", entry.data(), nullptr, graph_.get()),
      "Picture");
  av_check(
      avfilter_graph_create_filter(&exit_, avfilter_get_by_name("buffersink"), "out", nullptr, nullptr, graph_.get()),
      "Picture");
  const auto pad = [](const char *name, AVFilterContext *filter) {
    AvPads pads(avfilter_inout_alloc());
    if (pads == nullptr) throw std::bad_alloc();
    pads->name = av_strdup(name);
    pads->filter_ctx = filter;
    return pads;
  };
  AVFilterInOut *inputs = pad("out", exit_).release();
  AVFilterInOut *outputs = pad("in", entry_).release();
  const int status = avfilter_graph_parse_ptr(graph_.get(), chain().c_str(), &inputs, &outputs, nullptr);
  const AvPads unused_inputs(inputs);
  const AvPads unused_outputs(outputs);
  av_check(status, "Picture " + chain());
  av_check(avfilter_graph_config(graph_.get(), nullptr), "Picture " + chain());
  graph_format_ = picture.format;
}

AvFrame Picture::render(const Capture &capture) {
  if (current_->width != graph_width_ || current_->height != graph_height_ || current_->format != graph_format_) {
    build_graph(*current_);
  }
  AvFrame source(av_frame_clone(current_.get()));
  if (source == nullptr) throw std::bad_alloc();
  source->pts = pts_++;
  source->sample_aspect_ratio = {1, 1};
  if (writing_.scene_text) av_dict_set(&source->metadata, kSceneKey, scene_text(capture).c_str(), 0);
  if (plan_.text_overlay) av_dict_set(&source->metadata, kOverlayKey, overlay_text(capture).c_str(), 0);
  av_check(av_buffersrc_add_frame(entry_, source.get()), "Picture");
  AvFrame result = new_frame();
  av_check(av_buffersink_get_frame(exit_, result.get()), "Picture");
  if (writing_.marker) {
    av_check(av_frame_make_writable(result.get()), "Picture");
    draw_marker(*result, capture.sequence, capture.captured_us);
  }
  return result;
}

}  // namespace camera
