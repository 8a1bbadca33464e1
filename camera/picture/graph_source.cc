// Pictures from a libavfilter graph, and the scenes that the camera draws with one.
#include "picture/source.h"

extern "C" {
#include <libavfilter/buffersink.h>
}

#include <utility>

namespace camera {
namespace {

class GraphSource : public Source {
 public:
  explicit GraphSource(const std::string &description) : graph_(avfilter_graph_alloc()) {
    if (graph_ == nullptr) throw std::bad_alloc();
    graph_->nb_threads = 1;
    av_check(
        avfilter_graph_create_filter(&sink_, avfilter_get_by_name("buffersink"), "out", nullptr, nullptr, graph_.get()),
        "Source graph");
    AvPads inputs(avfilter_inout_alloc());
    if (inputs == nullptr) throw std::bad_alloc();
    inputs->name = av_strdup("out");
    inputs->filter_ctx = sink_;
    AVFilterInOut *open_inputs = inputs.release();
    AVFilterInOut *open_outputs = nullptr;
    const int status =
        avfilter_graph_parse_ptr(graph_.get(), description.c_str(), &open_inputs, &open_outputs, nullptr);
    inputs.reset(open_inputs);
    const AvPads outputs(open_outputs);
    const std::string what = "Source graph \"" + description + "\"";
    av_check(status, what);
    if (inputs != nullptr || outputs != nullptr) throw AvFailure(what + ": it must have no input and one video output");
    av_check(avfilter_graph_config(graph_.get(), nullptr), what);
    if (av_buffersink_get_type(sink_) != AVMEDIA_TYPE_VIDEO) throw AvFailure(what + ": its output is no video");
  }

  SourceShape shape() const override {
    const AVRational rate = av_buffersink_get_frame_rate(sink_);
    return {static_cast<std::uint32_t>(av_buffersink_get_w(sink_)),
            static_cast<std::uint32_t>(av_buffersink_get_h(sink_)), rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 0};
  }

  AvFrame next() override {
    AvFrame picture = new_frame();
    const int status = av_buffersink_get_frame(sink_, picture.get());
    if (status == AVERROR_EOF) return nullptr;
    av_check(status, "Source graph");
    return picture;
  }

 private:
  AvGraph graph_;
  AVFilterContext *sink_ = nullptr;  ///< the graph's
};

}  // namespace

std::unique_ptr<Source> open_graph(const std::string &description) {
  return std::make_unique<GraphSource>(description);
}

std::unique_ptr<Source> open_drawn_source(const Plan &plan) {
  constexpr const char *kScenes[] = {"testsrc2=", "smptehdbars=", "sierpinski=seed=1:", "color=c=gray:"};
  constexpr std::uint32_t kFullWidth = 1920;  // a crop is taken from a scene of full size
  constexpr std::uint32_t kFullHeight = 1080;
  std::pair size(plan.width, plan.height);
  if (plan.rotation % 180 != 0) std::swap(size.first, size.second);
  if (plan.crop) size = {kFullWidth, kFullHeight};
  return open_graph(std::string(kScenes[plan.input]) + "size=" + std::to_string(size.first) + "x" +
                    std::to_string(size.second) + ":rate=" + std::to_string(plan.rate_numerator) + "/" +
                    std::to_string(plan.rate_denominator));
}

std::unique_ptr<Source> open_configured_source(const CameraConfig &config, StopCheck is_stopping) {
  switch (config.source) {
    case SourceKind::kGraph:
      return open_graph(config.source_text);
    case SourceKind::kFile:
      return open_file(config.source_text);
    case SourceKind::kDevice:
      return open_device(config.source_text, std::move(is_stopping));
    case SourceKind::kTestPicture:
      break;
  }
  return nullptr;
}

}  // namespace camera
