// Checking a capture's frames and times.
#include "frames/model/checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <string>

#include "formats/bitstream.h"
#include "formats/units.h"
#include "frames/common/progress.h"

namespace frames {
namespace {

using Bytes = std::span<const std::uint8_t>;
using formats::Codec;

/// Bytes of a frame to look at first: its parameter sets and the start of its first slice.
constexpr std::size_t kFirstLook = 256;

std::string hexadecimal(Bytes bytes) {
  constexpr std::size_t kMost = 8;
  std::string text;
  for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), kMost)))
    text += fmt::format("{}{:02x}", text.empty() ? "" : " ", byte);
  return text;
}

/// The place of the second unit when the first one is an access unit delimiter, else 0.
std::size_t behind_delimiter(Codec codec, Bytes bytes) {
  constexpr unsigned kH264Delimiter = 9;
  constexpr unsigned kH265Delimiter = 35;
  const bool is_h264 = codec == Codec::kH264;
  if (!is_h264 && codec != Codec::kH265) return 0;
  const auto first = formats::next_nal_unit(bytes, 0);
  if (!first) return 0;
  const std::uint8_t header = bytes[first->payload];
  const bool is_delimiter =
      is_h264 ? formats::h264_unit_type(header) == kH264Delimiter : formats::h265_unit_type(header) == kH265Delimiter;
  const auto second = is_delimiter ? formats::next_nal_unit(bytes, first->payload) : std::nullopt;
  return second ? second->start : 0;
}

std::size_t count_units(Bytes bytes) {
  std::size_t count = 0;
  for (auto unit = formats::next_nal_unit(bytes, 0); unit; unit = formats::next_nal_unit(bytes, unit->payload))
    ++count;
  return count;
}

/// Looks at one frame after the other.
class FrameChecker {
 public:
  FrameChecker(const Capture &capture, Findings &findings)
      : capture_(capture), findings_(findings), reader_(capture.open_bytes(capture)) {}

  void check(std::size_t frame) {
    bytes_ = reader_->read_start(frame, kFirstLook);
    if (capture_.frames.size[frame] != 0 && !starts_well()) {
      findings_.add({.id = "frame-start",
                     .text = fmt::format("begins with {}, as no {} frame does", hexadecimal(bytes_),
                                         formats::codec_name(*capture_.codec)),
                     .frame = frame});
      return;
    }
    if (capture_.frames.header.known(frame)) check_header(frame);
  }

 private:
  bool is_packet() const { return capture_.kind == SourceKind::kContainer; }

  bool starts_well() const {
    constexpr std::size_t kDelimiter = 2;  // before every AV1 frame that was made of a packet
    const bool is_delimited = is_packet() && *capture_.codec == Codec::kAv1 && bytes_.size() >= kDelimiter;
    return formats::frame_starts_well(*capture_.codec, is_delimited ? bytes_.subspan(kDelimiter) : bytes_);
  }

  /// Where the parameter sets of the frame end; reads more of it until that is known.
  std::size_t end_of_sets(std::size_t frame) {
    for (std::size_t least = kFirstLook;; least *= 16) {
      bytes_ = reader_->read_start(frame, least);
      const bool whole = is_packet() || bytes_.size() == capture_.frames.size[frame];
      if (const auto end = formats::header_size(*capture_.codec, bytes_, whole)) return *end;
    }
  }

  /// A delimiter before the parameter sets may count as one of them.
  bool ends_behind_delimiter(std::size_t header) const {
    const std::size_t skipped = behind_delimiter(*capture_.codec, bytes_);
    return skipped != 0 && formats::header_size(*capture_.codec, bytes_.subspan(skipped), true) == header - skipped;
  }

  void check_header(std::size_t frame) {
    const std::size_t header = capture_.frames.header[frame];
    if (!is_packet() && header > capture_.frames.size[frame]) return;  // said of every capture
    const std::size_t end = end_of_sets(frame);
    // A packet's units had start codes of 3 or 4 bytes when the header was counted, and have 4 now.
    const std::size_t slack = is_packet() ? count_units(bytes_.first(std::min(end, bytes_.size()))) : 0;
    if (header <= end && end - header <= slack) return;
    if (!is_packet() && ends_behind_delimiter(header)) return;
    const std::string sets =
        end == 0 ? "no parameter sets begin the frame" : fmt::format("the parameter sets end at {}", end);
    findings_.add({.id = "header", .text = fmt::format("the header size is {}, {}", header, sets), .frame = frame});
  }

  const Capture &capture_;
  Findings &findings_;
  std::unique_ptr<FrameReader> reader_;
  Bytes bytes_;  ///< the start of the frame that is looked at
};

void check_header_sizes(const Capture &capture, Findings &findings) {
  const FrameTable &frames = capture.frames;
  if (!frames.header.any() || capture.kind == SourceKind::kContainer) return;
  for (std::size_t i = 0; i < frames.count; ++i) {
    if (!frames.header.known(i) || frames.header[i] <= frames.size[i]) continue;
    findings.add(
        {.id = "header",
         .text = fmt::format("the header of {} bytes exceeds the frame of {}", frames.header[i], frames.size[i]),
         .frame = i});
  }
}

/// Frames that no codec is known of are uncompressed pictures, which have one size, or something else.
void check_unknown_codec(const Capture &capture, Findings &findings) {
  const FrameTable &frames = capture.frames;
  std::optional<std::size_t> first;
  for (std::size_t i = 0; i < frames.count; ++i) {
    if (frames.size[i] == 0) continue;
    if (!first) first = i;
    if (frames.size[i] == frames.size[*first]) continue;
    const auto reader = capture.open_bytes(capture);
    findings.add({.id = "frame-start",
                  .text = fmt::format("begins with {}, as a frame of no codec that is known does",
                                      hexadecimal(reader->read_start(*first, kFirstLook))),
                  .frame = *first});
    return;
  }
}

void check_first_frame(const Capture &capture, Findings &findings) {
  const auto add = [&findings](const char *text) { findings.add({.id = "first-key", .text = text, .frame = 0}); };
  if (!capture.frames.key.known(0)) return;
  if (capture.frames.key[0] == 0) {
    add("the first frame is no key frame");
  } else if (capture.codec && !formats::has_parameter_sets(*capture.codec, capture.open_bytes(capture)->read(0))) {
    add("the first frame has no parameter sets");
  }
}

}  // namespace

void check_frames(const Capture &capture, Findings &findings) {
  const FrameTable &frames = capture.frames;
  check_header_sizes(capture, findings);
  if (!capture.has_bytes() || frames.count == 0) return;
  check_first_frame(capture, findings);
  if (!capture.codec) {
    if (capture.kind == SourceKind::kRaw) check_unknown_codec(capture, findings);
    return;
  }
  FrameChecker checker(capture, findings);
  if (formats::is_uncompressed(*capture.codec) && !frames.header.any()) return;
  Progress progress(frames.count);
  for (std::size_t i = 0; i < frames.count; ++i) {
    checker.check(i);
    progress.at(i);
  }
}

void check_times(const Capture &capture, const Statistics &statistics, Findings &findings) {
  const Column<std::int64_t> &times = capture.frames.time_us;
  for (const std::size_t frame : statistics.backwards) {
    findings.add(
        {.id = "time-order",
         .text = fmt::format("its time is {} us, below the {} us of the frame before", times[frame], times[frame - 1]),
         .frame = frame});
  }
  for (const std::size_t frame : statistics.repeated) {
    findings.add({.id = "time-order",
                  .text = fmt::format("its time is {} us, as that of the frame before", times[frame]),
                  .frame = frame});
  }
  for (const Gap &gap : statistics.gaps) {
    const std::string length = gap.delta_us ? fmt::format("{} us to the next frame, ", *gap.delta_us) : "";
    findings.add(
        {.id = "gap", .text = fmt::format("{}{} missing", length, gap.missing), .fails = false, .frame = gap.after});
  }
}

}  // namespace frames
