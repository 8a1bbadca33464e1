// Frames of a container's video track; from the client's Matroska files with the exact times of its cues.
#include <algorithm>
#include <array>
#include <limits>
#include <string_view>
#include <utility>

#include "formats/bitstream.h"
#include "formats/capture/demuxer.h"
#include "formats/capture/distance.h"
#include "formats/capture/raw_frames.h"
#include "formats/capture/segment.h"
#include "formats/capture/source.h"
#include "formats/capture/unusable.h"
#include "formats/cue_text.h"

namespace formats {
namespace {

std::vector<Part> one_part(const std::string &path) {
  return {{.path = path, .start = 0, .bytes = File(path).size()}};
}

std::span<const std::uint8_t> bytes_of(const AVPacket *packet) {
  return {packet->data, static_cast<std::size_t>(packet->size)};
}

/// Reads frames by demuxing from the start of the file up to them.
class ContainerReader : public FrameReader {
 public:
  explicit ContainerReader(const Capture &capture) : capture_(capture), packet_(av_packet_alloc()) { open(); }

  std::span<const std::uint8_t> read(std::size_t frame) override {
    if (frame + 1 == next_) return converted_;
    if (frame < next_) open();
    while (next_ <= frame) {
      if (!demuxer_->next(packet_.get())) unusable("{}: frame {}: cannot be read again", capture_.name, frame);
      if (demuxer_->is_video(packet_.get())) ++next_;
    }
    converted_ = converter_->convert(bytes_of(packet_.get()));
    return converted_;
  }

  std::span<const std::uint8_t> read_start(std::size_t frame, std::size_t) override { return read(frame); }

 private:
  void open() {
    demuxer_.emplace(capture_.name, one_part(capture_.name), nullptr);
    converter_.emplace(capture_.codec, *demuxer_->video()->codecpar);
    next_ = 0;
  }

  const Capture &capture_;
  PacketPtr packet_;
  std::optional<Demuxer> demuxer_;
  std::optional<RawFrames> converter_;
  std::span<const std::uint8_t> converted_;
  std::size_t next_ = 0;  ///< the frame behind the one that was read last
};

/// A cue of the track of times.
struct Cue {
  std::int64_t pts = 0;      ///< of its packet
  std::int64_t time_us = 0;  ///< its text
};

/// Gives each frame the time of its cue, which lies at the same place on the container's clock. A frame without a cue
/// keeps the container's time.
class Times {
 public:
  void add_frame(std::int64_t pts, AVRational time_base) {
    pts_.set(frames_++, pts);
    time_base_ = time_base;
  }

  void add_cue(std::int64_t pts, std::string_view text) {
    if (const auto time_us = parse_cue_text(text)) {
      cue_pts_.set(cues_, pts);
      cue_us_.set(cues_++, *time_us);
    }
  }

  /// Returns how many frames have no cue where others have.
  std::size_t set(FrameTable &frames) const {
    std::size_t cue = 0;
    std::size_t without = 0;
    for (std::size_t i = 0; i < frames_; ++i) {
      if (pts_[i] == AV_NOPTS_VALUE) continue;
      const std::size_t found = find_cue(cue, pts_[i]);
      if (found < cues_) {
        frames.time_us.set(i, cue_us_[found]);
        cue = found + 1;
      } else {
        frames.time_us.set(i, av_rescale_q(pts_[i], time_base_, kMicroseconds));
        ++without;
      }
    }
    return cues_ == 0 ? 0 : without;
  }

  bool has_cues() const { return cues_ > 0; }

 private:
  static constexpr std::size_t kLookedAt = 16;  ///< cues that may lie between the frames' without a frame of their own

  std::size_t find_cue(std::size_t from, std::int64_t pts) const {
    const std::size_t end = std::min(cues_, from + kLookedAt);
    for (std::size_t i = from; i < end; ++i)
      if (cue_pts_[i] == pts) return i;
    return cues_;
  }

  AVRational time_base_ = kMicroseconds;
  Column<std::int64_t> pts_;
  Column<std::int64_t> cue_pts_;
  Column<std::int64_t> cue_us_;
  std::size_t frames_ = 0;
  std::size_t cues_ = 0;
};

/// Matroska keeps milliseconds: a frame without a cue may be so far from its record.
constexpr std::int64_t kContainerPrecisionUs = 1000;

/// Types and header sizes from a sidecar, record by record. After a crash either may end before the other.
void join_sidecar(Capture &capture, const std::string &path) {
  Capture sidecar;
  sidecar.name = path;
  (void)load_sidecar(sidecar, path, {});
  const std::size_t both = std::min(sidecar.frames.count, capture.frames.count);
  for (std::size_t i = 0; i < both; ++i) {
    if (!capture.frames.time_us.known(i)) continue;
    const std::int64_t time_us = capture.frames.time_us[i];
    const std::int64_t distance = distance_us(sidecar.frames.time_us[i], time_us);
    if (distance > kContainerPrecisionUs || distance < -kContainerPrecisionUs) {
      unusable("{}: record {}: is at {} us, frame {} of {} at {} us", path, i, sidecar.frames.time_us[i], i,
               capture.name, time_us);
    }
  }
  capture.frames.type = std::move(sidecar.frames.type);
  capture.frames.header = std::move(sidecar.frames.header);
  capture.records = sidecar.records;
  capture.has_sidecar = true;
  capture.files.push_back(path);
  for (const Finding &finding : sidecar.findings.kept())
    capture.findings.add(finding);
}

/// Whether the bytes at a place of a Matroska file are blocks or a cluster of them, or the remainder of one: what
/// stands behind the last cluster of a whole file is the index.
bool is_cut_block(const std::string &path, std::uint64_t place) {
  constexpr std::array<std::uint8_t, 4> kIndex = {0x1C, 0x53, 0xBB, 0x6B};
  std::array<std::uint8_t, kIndex.size()> start{};
  const std::size_t count = File(path).read_at(place, start);
  return !std::equal(start.begin(), start.begin() + static_cast<std::ptrdiff_t>(count), kIndex.begin());
}

void add_frame(Capture &capture, RawFrames &converter, const AVPacket *packet) {
  FrameTable &frames = capture.frames;
  const std::size_t number = frames.count++;
  frames.size.set(number, static_cast<std::uint32_t>(packet->size));
  bool is_key = (packet->flags & AV_PKT_FLAG_KEY) != 0;
  if (capture.codec) {
    is_key = frame_key(*capture.codec, converter.convert(bytes_of(packet)), true) == KeyState::kKey;
  }
  frames.key.set(number, is_key ? 1 : 0);
}

/// What the container itself says of its end: a recording that was not ended, a file or a track that was cut off.
void check_end(Capture &capture, const AVStream &video) {
  if (const auto segment = read_segment(capture.name)) {
    const std::uint64_t bytes = File(capture.name).size();
    if (!segment->end) {
      capture.findings.add({.id = "trailer", .text = "there is no index: the recording was not ended properly"});
    } else if (*segment->end > bytes) {
      capture.findings.add(
          {.id = "trailer",
           .text = fmt::format("the file has {} of {} bytes, without its index", bytes, *segment->end)});
    }
  }
  const auto indexed = static_cast<std::uint64_t>(std::max<std::int64_t>(video.nb_frames, 0));
  if (indexed > capture.frames.count) {
    capture.findings.add({.id = "raw-size",
                          .text = fmt::format("the index has {} frames, {} are whole", indexed, capture.frames.count),
                          .frame = capture.frames.count});
  }
}

}  // namespace

Capture open_container(const CaptureOptions &options) {
  Capture capture;
  capture.name = options.capture;
  capture.kind = SourceKind::kContainer;
  Demuxer demuxer(capture.name, one_part(capture.name), nullptr);
  const AVStream *video = demuxer.video();
  capture.codec = codec_of_id(video->codecpar->codec_id);
  capture.width = static_cast<std::uint32_t>(std::max(video->codecpar->width, 0));
  capture.height = static_cast<std::uint32_t>(std::max(video->codecpar->height, 0));
  RawFrames converter(capture.codec, *video->codecpar);

  const PacketPtr packet(av_packet_alloc());
  Times times;
  std::uint64_t end = 0;
  bool ends_with_frame = false;
  constexpr std::uint64_t kMebibyte = std::uint64_t{1} << 20U;
  Progress progress(options.show_progress, File(capture.name).size() / kMebibyte, "MiB");
  while (demuxer.next(packet.get())) {
    const std::int64_t pts = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    end = demuxer.place();
    progress.at(end / kMebibyte);
    ends_with_frame = demuxer.is_video(packet.get());
    if (ends_with_frame) {
      add_frame(capture, converter, packet.get());
      times.add_frame(pts, video->time_base);
    } else {
      times.add_cue(pts, {reinterpret_cast<const char *>(packet->data), static_cast<std::size_t>(packet->size)});
    }
  }
  if (capture.frames.count == 0) unusable("{}: holds no whole frame", capture.name);
  capture.frames_without_cue = times.set(capture.frames);
  capture.is_matroska = std::string_view(demuxer.format_name()).starts_with("matroska");
  if (capture.is_matroska && is_cut_block(capture.name, end)) {
    capture.tail_bytes = File(capture.name).size() - end;
    capture.tail_has_frame = !ends_with_frame || !times.has_cues();
  }
  check_end(capture, *video);
  capture.files.push_back(capture.name);
  if (!options.meta.empty()) join_sidecar(capture, options.meta);
  capture.open_bytes = [](const Capture &self) { return std::make_unique<ContainerReader>(self); };
  return capture;
}

}  // namespace formats
