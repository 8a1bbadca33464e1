// Captures to measure zel-frames with: captures KIND FILE COUNT.
//
//     sidecar FILE COUNT          a sidecar of so many frames
//     text FILE COUNT             what a run of so many frames prints
//     stream FILE COUNT           a raw stream with its sidecar, from the pictures that ZEL_STUB_STREAM names
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "formats/report_line.h"
#include "formats/sidecar.h"
#include "pictures.h"

namespace {

constexpr std::uint32_t kGop = 30;
constexpr std::uint64_t kPeriod = 33333;  // us
constexpr std::uint32_t kLost = 100'003;  ///< every so many frames one is missing

/// Sizes and times as an encoder has them: key frames ten times as large as others, both varying; times that vary by a
/// few microseconds; a frame missing now and then.
class Frames {
 public:
  formats::SidecarRecord next() {
    const bool key = number_ % kGop == 0;
    const std::uint32_t steps = number_ % kLost == kLost - 1 ? 2 : 1;
    time_us_ += steps * kPeriod;
    sequence_ += steps;
    ++number_;
    return {.frame_type = key ? 1U : 3U,
            .time_us = time_us_ + random() % 64,
            .size = key ? 60'000 + random() % 60'000 : 4'000 + random() % 16'000,
            .header_size = key ? 36U : 0U};
  }

  /// The service's number of the last frame.
  std::uint32_t sequence() const { return sequence_; }

 private:
  std::uint32_t random() {
    state_ = state_ * 6364136223846793005U + 1442695040888963407U;
    return static_cast<std::uint32_t>(state_ >> 40U);
  }

  std::uint32_t number_ = 0;
  std::uint32_t sequence_ = 0;
  std::uint64_t time_us_ = 1'000'000;
  std::uint64_t state_ = 1;
};

class File {
 public:
  explicit File(const std::string &name) : file_(std::fopen(name.c_str(), "we")) { require(file_ != nullptr); }
  void put(const void *bytes, std::size_t count) { require(std::fwrite(bytes, 1, count, file_) == count); }
  void put(const formats::SidecarRecord &record) {
    const auto bytes = formats::sidecar_record_bytes(record);
    put(bytes.data(), bytes.size());
  }
  void put_trailer(std::uint32_t count) {
    const auto bytes = formats::sidecar_trailer_bytes(count);
    put(bytes.data(), bytes.size());
    require(std::fclose(file_) == 0);
  }
  std::FILE *stream() { return file_; }

 private:
  static void require(bool worked) {
    if (worked) return;
    std::perror("captures");
    std::exit(1);
  }

  std::FILE *file_;
};

void write_sidecar(const std::string &name, std::uint32_t count) {
  File file(name);
  Frames frames;
  for (std::uint32_t i = 0; i < count; ++i)
    file.put(frames.next());
  file.put_trailer(count);
}

void write_text(const std::string &name, std::uint32_t count) {
  File file(name);
  Frames frames;
  std::uint64_t before = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    const formats::SidecarRecord frame = frames.next();
    const int delta = before == 0 ? 0 : static_cast<int>(frame.time_us - before);
    before = frame.time_us;
    (void)std::fprintf(file.stream(), formats::kReportDefaultFormat, frames.sequence(), 8,
                       frame.frame_type == 1 ? "idr" : "p", delta, formats::kReportLatency,
                       std::uintmax_t{5000 + frame.time_us % 997}, static_cast<std::size_t>(frame.size));
  }
  (void)std::fclose(file.stream());
}

void write_stream(const std::string &name, std::uint32_t count) {
  Pictures *pictures = load_pictures();
  File stream(name);
  File sidecar(name + std::string(formats::kSidecarSuffix));
  for (std::uint32_t i = 0; i < count; ++i) {
    const Picture &picture = pictures->pictures[i % pictures->count];
    stream.put(picture.data, picture.size);
    sidecar.put({.frame_type = picture.key != FALSE ? 1U : 3U,
                 .time_us = static_cast<std::uint64_t>(picture_time(i)),
                 .size = static_cast<std::uint32_t>(picture.size),
                 .header_size = picture.header_size});
  }
  (void)std::fclose(stream.stream());
  sidecar.put_trailer(count);
  free_pictures(pictures);
}

struct Kind {
  std::string_view name;
  void (*write)(const std::string &name, std::uint32_t count);
};

constexpr std::array kKinds = {Kind{"sidecar", write_sidecar}, Kind{"text", write_text}, Kind{"stream", write_stream}};

}  // namespace

int main(int argc, char **argv) {
  if (argc != 4) return 2;
  const auto *kind = std::ranges::find(kKinds, argv[1], &Kind::name);
  if (kind == kKinds.end()) return 2;
  kind->write(argv[2], static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10)));
  return 0;
}
