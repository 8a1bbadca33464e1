// From a request to a producer: source, settings, encoder, picture.
#include "producer/assemble.h"

#include <utility>

#include "common/av_messages.h"
#include "common/signal_mask.h"
#include "encoder/encoder.h"
#include "picture/picture.h"
#include "producer/captured.h"
#include "producer/coded_producers.h"

namespace camera {

std::optional<Assembly> assemble(const CameraConfig &config, const Values &request, StopCheck is_stopping,
                                 GError **error) {
  const SignalsBlocked blocked;
  const MessagesSilenced silenced;
  std::unique_ptr<Source> source;
  const bool first_input = value_or<std::uint32_t>(request, "input", 0) == 0;
  if (first_input && !config.capture.empty()) return assemble_capture(config, request, error);
  if (first_input && config.producer != ProducerKind::kScripted)
    source = open_configured_source(config, std::move(is_stopping));
  std::optional<Grant> granted = grant(request, source != nullptr ? source->shape() : SourceShape(), error);
  if (!granted) return std::nullopt;
  const Plan &plan = granted->plan;
  const std::size_t capacity = frame_capacity(plan);
  if (config.producer == ProducerKind::kScripted) {
    return Assembly{*granted, capacity, make_scripted_producer(plan)};
  }
  Writing writing;
  writing.marker = config.marker.value_or(source == nullptr);
  if (source == nullptr) {
    writing.scene_text = is_moving_input(plan.input);
    source = open_drawn_source(plan);
  }
  std::unique_ptr<Encoder> encoder = make_encoder(plan);
  auto picture = std::make_unique<Picture>(plan, std::move(source), encoder->pixel_format(), writing);
  std::unique_ptr<Producer> producer = make_generated_producer(plan, std::move(encoder), std::move(picture));
  if (config.producer == ProducerKind::kCached) producer = make_cached_producer(plan, std::move(producer));
  return Assembly{*std::move(granted), capacity, std::move(producer)};
}

}  // namespace camera
