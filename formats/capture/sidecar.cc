// Frames from a sidecar.
#include "formats/sidecar.h"

#include <algorithm>
#include <array>
#include <limits>

#include "formats/capture/file.h"
#include "formats/capture/source.h"
#include "formats/capture/unusable.h"

namespace formats {
namespace {

constexpr std::size_t kRecordsAtOnce = 4096;  ///< 96 KiB, which stay in the processor's cache

/// A record that no client wrote: a reserved word that is not zero beside values that no stream has.
bool is_noise(const SidecarRecord &record) {
  constexpr std::uint32_t kLargestHeader = 1U << 20U;
  constexpr std::uint32_t kLargestType = 1U << 16U;
  constexpr std::uint64_t kLatestTime = std::uint64_t{1} << 56U;  // two thousand years in us
  return record.reserved != 0 && (record.header_size > record.size || record.header_size > kLargestHeader ||
                                  record.frame_type > kLargestType || record.time_us > kLatestTime);
}

std::string describe_tail(std::size_t tail) {
  return tail == 0 ? "the count of records is missing: the recording was not ended properly"
                   : fmt::format("the count of records is missing, {} bytes of a cut record end the file", tail);
}

/// Reads records one after the other and sets them as frames.
class Loader {
 public:
  Loader(Capture &capture, const SidecarScope &scope)
      : capture_(capture),
        raw_bytes_(scope.raw_bytes.value_or(std::numeric_limits<std::uint64_t>::max())),
        takes_offsets_(!scope.figures_only || scope.raw_bytes),
        takes_all_(!scope.figures_only) {}

  void take(const SidecarRecord &record) {
    const std::size_t number = seen_++;
    if (record.reserved != 0) note_reserved(number, record);
    if (offset_ + record.size > raw_bytes_) ended_ = true;
    const std::uint64_t offset = offset_;
    offset_ += record.size;
    if (ended_) return;
    FrameTable &frames = capture_.frames;
    frames.time_us.set(number, static_cast<std::int64_t>(record.time_us));
    frames.size.set(number, record.size);
    if (takes_offsets_) frames.offset.set(number, offset);
    if (takes_all_) {
      frames.type.set(number, record.frame_type);
      frames.header.set(number, record.header_size);
    }
    frames.count = number + 1;
  }

  std::uint64_t told_bytes() const { return offset_; }
  bool is_mostly_noise() const { return noise_ * 2 > seen_; }

 private:
  void note_reserved(std::size_t number, const SidecarRecord &record) {
    if (is_noise(record)) ++noise_;
    capture_.findings.add(
        {.id = "reserved", .text = fmt::format("the reserved word is {}, not 0", record.reserved), .frame = number});
  }

  Capture &capture_;
  std::uint64_t raw_bytes_;
  bool takes_offsets_;
  bool takes_all_;
  std::size_t seen_ = 0;
  std::size_t noise_ = 0;
  std::uint64_t offset_ = 0;
  bool ended_ = false;  ///< a frame was not whole: none behind it is
};

/// How many of the file's records count, and what is wrong with its end.
std::size_t count_records(Capture &capture, const File &file, std::uint64_t bytes) {
  const auto records = static_cast<std::size_t>(bytes / kSidecarRecordSize);
  const auto tail = static_cast<std::size_t>(bytes % kSidecarRecordSize);
  if (tail != kSidecarTrailerSize) {
    if (records == 0) unusable("{}: holds no whole record", file.path());
    capture.findings.add({.id = "trailer", .text = describe_tail(tail)});
    return records;
  }
  std::array<std::uint8_t, kSidecarTrailerSize> trailer{};
  (void)file.read_at(bytes - trailer.size(), trailer);
  const std::uint32_t count = sidecar_trailer(trailer.data());
  if (records == 0 && count != 0) unusable("{}: holds no whole record", file.path());
  if (count != records) {
    capture.findings.add(
        {.id = "trailer", .text = fmt::format("the trailer counts {} records, the file holds {}", count, records)});
  }
  return std::min<std::size_t>(records, count);
}

}  // namespace

std::uint64_t load_sidecar(Capture &capture, const std::string &path, const SidecarScope &scope) {
  File file(path);
  if (!file.is_regular()) unusable("{}: is no regular file", path);
  const std::uint64_t bytes = file.size();  // once: the file may grow
  if (bytes == 0) unusable("{}: is empty", path);
  const std::size_t records = count_records(capture, file, bytes);

  std::vector<std::uint8_t> block(kRecordsAtOnce * kSidecarRecordSize);
  Loader loader(capture, scope);
  for (std::size_t done = 0; done < records;) {
    const std::size_t count = std::min(kRecordsAtOnce, records - done);
    const std::span<std::uint8_t> part = std::span(block).first(count * kSidecarRecordSize);
    if (file.read(part) != part.size()) unusable("{}: became shorter while it was read", path);
    for (std::size_t i = 0; i < count; ++i)
      loader.take(sidecar_record(part.data() + i * kSidecarRecordSize));
    if (loader.is_mostly_noise()) unusable("{}: holds no records of frames", path);
    done += count;
  }
  capture.records = static_cast<std::size_t>(bytes / kSidecarRecordSize);
  capture.has_sidecar = true;
  capture.files.push_back(path);
  return loader.told_bytes();
}

Capture open_sidecar(const CaptureOptions &options) {
  Capture capture;
  capture.name = options.capture;
  capture.kind = SourceKind::kSidecar;
  (void)load_sidecar(capture, options.capture, {.figures_only = options.figures_only});
  return capture;
}

}  // namespace formats
