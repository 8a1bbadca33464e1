// Frames of a capture, byte for byte. What it does not hold is made: key and header size from the bitstream, the type
// from key.
#include "producer/captured.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "encoder/encoder.h"
#include "formats/bitstream.h"
#include "formats/report_line.h"
#include "pacing/timeline.h"
#include "producer/captured_files.h"
#include "producer/producer.h"

namespace camera {
namespace {

/// Beyond it a latency is none that a client has measured; the limit keeps sums in range.
constexpr std::int64_t kMostLatencyUs = 1'000'000'000'000;

class Captured : public Producer {
 public:
  /// `codec` is that of the frames.
  Captured(const Plan &plan, formats::Capture capture, formats::Codec codec, Timeline timeline)
      : plan_(plan),
        capture_(std::move(capture)),
        codec_(codec),
        timeline_(std::move(timeline)),
        reader_(capture_.open_bytes(capture_)),
        first_(timeline_.first_sequence()) {}

  /// Every run plays the capture from its first frame on.
  void begin(std::uint32_t sequence) override { first_ = sequence; }

  Availability availability(std::uint32_t sequence) const override {
    const std::uint32_t number = sequence - first_;
    if (timeline_.has_ended(number)) return Availability::kEnded;
    return timeline_.frame(number) ? Availability::kThere : Availability::kMissing;
  }

  Product make(const Order &order) override {
    const std::size_t frame = *timeline_.frame(order.sequence - first_);
    const std::span<const std::uint8_t> bytes = reader_->read(frame);
    Product product;
    product.key = is_key(frame, bytes);
    product.header_size = header_size(frame, bytes);
    product.type = type(frame, product.key);
    product.shown = printed_type(frame) != formats::kReportNotShown && formats::frame_is_shown(codec_, bytes);
    product.empty = printed_type(frame) == formats::kReportEmpty;
    product.latency_us = latency_us(frame);
    product.clock_offset_us = timeline_.offset_us(frame);
    product.payload = delivered_payload({bytes.begin(), bytes.end()}, product.header_size, plan_.chunks);
    return product;
  }

  void skip() override {}

  const Timeline *timeline() const override { return &timeline_; }

 private:
  bool is_key(std::size_t frame, std::span<const std::uint8_t> bytes) const {
    if (capture_.frames.key.known(frame)) return capture_.frames.key[frame] != 0;
    return formats::frame_key(codec_, bytes, true) == formats::KeyState::kKey;
  }

  std::size_t header_size(std::size_t frame, std::span<const std::uint8_t> bytes) const {
    if (capture_.frames.header.known(frame)) return capture_.frames.header[frame];
    return formats::header_size(codec_, bytes, true).value_or(0);
  }

  /// The type column of the frame's line on the console; "" without one.
  std::string_view printed_type(std::size_t frame) const {
    const formats::FrameTable &frames = capture_.frames;
    return frames.type_name.known(frame) ? std::string_view(frames.type_names[frames.type_name[frame]]) : "";
  }

  std::uint32_t type(std::size_t frame, bool key) const {
    if (capture_.frames.type.known(frame)) return capture_.frames.type[frame];
    for (const Choice &choice : kFrameTypes)
      if (printed_type(frame) == choice.nick) return choice.value;
    return usual_type(plan_.format, key);
  }

  std::uint64_t latency_us(std::size_t frame) const {
    const auto &latencies = capture_.frames.latency_us;
    if (!latencies.known(frame)) return 0;
    return static_cast<std::uint64_t>(std::clamp<std::int64_t>(latencies[frame], 0, kMostLatencyUs));
  }

  Plan plan_;
  formats::Capture capture_;
  formats::Codec codec_;
  Timeline timeline_;
  std::unique_ptr<formats::FrameReader> reader_;  ///< refers to capture_
  std::uint32_t first_;                           ///< number of the run's first frame
};

}  // namespace

std::optional<Assembly> assemble_capture(const CameraConfig &config, const Values &request, GError **error) {
  std::optional<OpenedCapture> opened = open_configured_capture(config, request, error);
  if (!opened) return std::nullopt;
  const Plan &plan = opened->grant.plan;
  Timeline timeline(opened->capture, plan.rate_numerator, plan.rate_denominator, config.loop);
  auto producer = std::make_unique<Captured>(plan, std::move(opened->capture), opened->codec, std::move(timeline));
  const std::size_t capacity = frame_capacity(plan);
  return Assembly{std::move(opened->grant), capacity, std::move(producer)};
}

}  // namespace camera
