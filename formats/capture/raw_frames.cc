// Lengths to start codes, and what a container keeps apart put back.
#include "formats/capture/raw_frames.h"

#include <array>

#include "formats/bitstream.h"

namespace formats {
namespace {

constexpr std::array<std::uint8_t, 4> kStartCode = {0, 0, 0, 1};
constexpr std::array<std::uint8_t, 2> kTemporalDelimiter = {0x12, 0};
constexpr std::size_t kAv1Configuration = 4;  ///< bytes before the OBUs of an AV1 configuration record

/// Where a configuration record has the size of the lengths, in its lowest two bits, less one.
std::size_t length_size_of(Codec codec, std::span<const std::uint8_t> configuration) {
  const std::size_t place = codec == Codec::kH264 ? 4 : 21;
  if (configuration.size() <= place || configuration[0] != 1) return 0;
  return std::size_t{configuration[place] & 3U} + 1;
}

/// The parameter sets of a configuration record with start codes, as FFmpeg's filter gives them.
std::vector<std::uint8_t> sets_of(Codec codec, const AVCodecParameters &parameters) {
  const char *name = codec == Codec::kH264 ? "h264_mp4toannexb" : "hevc_mp4toannexb";
  const AVBitStreamFilter *filter = av_bsf_get_by_name(name);
  AVBSFContext *made = nullptr;
  if (filter == nullptr || av_bsf_alloc(filter, &made) < 0) return {};
  const BsfPtr context(made);
  if (avcodec_parameters_copy(context->par_in, &parameters) < 0 || av_bsf_init(context.get()) < 0) return {};
  const AVCodecParameters &out = *context->par_out;
  return {out.extradata, out.extradata + out.extradata_size};
}

}  // namespace

RawFrames::RawFrames(std::optional<Codec> codec, const AVCodecParameters &parameters) : codec_(codec) {
  const std::span<const std::uint8_t> configuration(parameters.extradata,
                                                    static_cast<std::size_t>(parameters.extradata_size));
  if (codec_ == Codec::kH264 || codec_ == Codec::kH265) {
    length_size_ = length_size_of(*codec_, configuration);
    if (!configuration.empty()) parameter_sets_ = sets_of(*codec_, parameters);
  } else if (codec_ == Codec::kAv1 && configuration.size() > kAv1Configuration) {
    parameter_sets_.assign(configuration.begin() + kAv1Configuration, configuration.end());
  }
}

std::span<const std::uint8_t> RawFrames::convert(std::span<const std::uint8_t> packet) {
  if (codec_ == Codec::kAv1) return convert_av1(packet);
  if (codec_ == Codec::kH264 || codec_ == Codec::kH265) return convert_units(packet);
  return packet;
}

std::span<const std::uint8_t> RawFrames::convert_units(std::span<const std::uint8_t> packet) {
  frame_.clear();
  if (length_size_ == 0) {
    frame_.assign(packet.begin(), packet.end());
  }
  while (length_size_ != 0 && packet.size() > length_size_) {
    std::size_t length = 0;
    for (std::size_t i = 0; i < length_size_; ++i)
      length = length << 8U | packet[i];
    packet = packet.subspan(length_size_);
    if (length > packet.size()) break;
    frame_.insert(frame_.end(), kStartCode.begin(), kStartCode.end());
    frame_.insert(frame_.end(), packet.begin(), packet.begin() + static_cast<std::ptrdiff_t>(length));
    packet = packet.subspan(length);
  }
  const bool is_key = frame_key(*codec_, frame_, true) == KeyState::kKey;
  if (is_key && !parameter_sets_.empty() && !has_parameter_sets(*codec_, frame_)) {
    frame_.insert(frame_.begin(), parameter_sets_.begin(), parameter_sets_.end());
  }
  return frame_;
}

std::span<const std::uint8_t> RawFrames::convert_av1(std::span<const std::uint8_t> packet) {
  const bool has_delimiter = packet.size() >= 2 && packet[0] == kTemporalDelimiter[0] && packet[1] == 0;
  frame_.assign(kTemporalDelimiter.begin(), kTemporalDelimiter.end());
  frame_.insert(frame_.end(), packet.begin() + (has_delimiter ? 2 : 0), packet.end());
  const bool is_key = frame_key(Codec::kAv1, frame_, true) == KeyState::kKey;
  if (is_key && !has_parameter_sets(Codec::kAv1, frame_)) {
    frame_.insert(frame_.begin() + 2, parameter_sets_.begin(), parameter_sets_.end());
  }
  return frame_;
}

}  // namespace formats
