// The Matroska file on plain values, read back by libavformat; what each step gives when it fails.
#include "formats/matroska_writer.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

extern "C" {
#include <libavutil/log.h>
}

#include "tests/support/files.h"

namespace {

using formats::Codec;
using formats::MatroskaFailure;
using formats::MatroskaWriter;

struct CloseInput {
  void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
};
struct FreePacket {
  void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};

struct Stored {
  int stream;
  std::int64_t pts;
  std::string bytes;
  std::int64_t duration;

  bool operator==(const Stored &) const = default;
};

void PrintTo(const Stored &stored, std::ostream *out) {
  *out << stored.stream << " at " << stored.pts << " for " << stored.duration << " " << stored.bytes;
}

class MatroskaFile : public testing::Test {
 protected:
  void SetUp() override { av_log_set_level(AV_LOG_QUIET); }

  std::string path() const { return folder_ / "out.mkv"; }
  MatroskaFailure open(std::optional<Codec> codec = Codec::kJpeg) {
    return writer_.open(path().c_str(), codec, 64, 48);
  }
  MatroskaFailure header() { return writer_.write_header(bytes_.data(), bytes_.size()); }
  MatroskaFailure frame(std::int64_t time_us, std::int64_t duration_ms) {
    const MatroskaFailure failure = writer_.wrap_frame(bytes_.data(), bytes_.size());
    return failure == MatroskaFailure::kNone ? writer_.write_frame(time_us, duration_ms, true) : failure;
  }

  /// Every packet of the file, in its order.
  std::vector<Stored> stored() const {
    AVFormatContext *opened = nullptr;
    EXPECT_EQ(avformat_open_input(&opened, path().c_str(), nullptr, nullptr), 0);
    const std::unique_ptr<AVFormatContext, CloseInput> context(opened);
    const std::unique_ptr<AVPacket, FreePacket> packet(av_packet_alloc());
    std::vector<Stored> packets;
    while (context != nullptr && av_read_frame(context.get(), packet.get()) == 0) {
      packets.push_back(
          {packet->stream_index, packet->pts,
           std::string(reinterpret_cast<const char *>(packet->data), static_cast<std::size_t>(packet->size)),
           packet->duration});
      av_packet_unref(packet.get());
    }
    return packets;
  }

  TempFolder folder_;
  MatroskaWriter writer_;
  std::array<std::uint8_t, 7> bytes_ = {0xFF, 0xD8, 1, 2, 3, 0xFF, 0xD9};
};

// Catches times that are not absolute, a duration that is the same for every frame, and a cue that is not its frame's.
TEST_F(MatroskaFile, FramesAndCues) {
  ASSERT_EQ(open(), MatroskaFailure::kNone);
  EXPECT_FALSE(writer_.is_ready());
  ASSERT_EQ(header(), MatroskaFailure::kNone);
  EXPECT_TRUE(writer_.is_ready());
  EXPECT_EQ(writer_.context()->streams[0]->codecpar->extradata_size, 7);
  const struct {
    std::int64_t time_us;
    std::int64_t duration_ms;
  } frames[] = {{5'000'000, 33}, {5'033'499, 67}, {5'100'500, 0}};
  for (const auto &[time_us, duration_ms] : frames) {
    ASSERT_EQ(frame(time_us, duration_ms), MatroskaFailure::kNone);
    ASSERT_EQ(writer_.write_cue(time_us, duration_ms), MatroskaFailure::kNone);
  }
  ASSERT_EQ(writer_.close(), MatroskaFailure::kNone);
  EXPECT_FALSE(writer_.is_ready());

  std::vector<Stored> expected;
  const std::string_view bytes(reinterpret_cast<const char *>(bytes_.data()), bytes_.size());
  for (const auto &[pts, duration, text] :
       {std::tuple{5000, 33, "00:00:05.000000"}, {5033, 67, "00:00:05.033499"}, {5101, 0, "00:00:05.100500"}}) {
    expected.push_back({0, pts, std::string(bytes), 0});
    expected.push_back({1, pts, text, duration});
  }
  EXPECT_EQ(stored(), expected);
}

// Catches another share of the first frame than its header, or all of it below three bytes of header.
TEST(MatroskaExtradata, IsTheHeaderOrTheFrame) {
  EXPECT_EQ(formats::matroska_extradata_size(4, 5), 4u);
  EXPECT_EQ(formats::matroska_extradata_size(3, 5), 3u);
  EXPECT_EQ(formats::matroska_extradata_size(2, 5), 5u);
  EXPECT_EQ(formats::matroska_extradata_size(0, 5), 5u);
  EXPECT_EQ(formats::matroska_extradata_size(-1, 5), 5u);
  EXPECT_EQ(formats::matroska_extradata_size(6, 5), 5u);
  EXPECT_EQ(formats::matroska_extradata_size(std::numeric_limits<std::ptrdiff_t>::max(), 5), 5u);
}

// Catches a codec that Matroska does not take and gets a file.
TEST_F(MatroskaFile, OtherCodecs) {
  for (const std::optional<Codec> codec : {std::optional<Codec>(), std::optional(Codec::kNv12)}) {
    MatroskaWriter writer;
    EXPECT_EQ(writer.open(path().c_str(), codec, 64, 48), MatroskaFailure::kCodec);
    EXPECT_EQ(writer.av_error(), 0);
    EXPECT_FALSE(std::filesystem::exists(path()));
  }
}

// Catches a failure without its reason.
TEST_F(MatroskaFile, CannotBeOpened) {
  EXPECT_EQ(writer_.open((folder_ / "missing/out.mkv").c_str(), Codec::kJpeg, 64, 48), MatroskaFailure::kOpen);
  EXPECT_EQ(writer_.av_error(), AVERROR(ENOENT));
  EXPECT_STREQ(formats::matroska_failure_text(MatroskaFailure::kOpen), "Could not open output file");
}

// Catches a trailer for a muxer that has released its insides, and frames for it.
TEST_F(MatroskaFile, RefusedHeader) {
  ASSERT_EQ(writer_.open(path().c_str(), Codec::kJpeg, 0, 0), MatroskaFailure::kNone);
  EXPECT_EQ(header(), MatroskaFailure::kHeader);
  EXPECT_LT(writer_.av_error(), 0);
  EXPECT_FALSE(writer_.is_ready());
  EXPECT_EQ(writer_.close(), MatroskaFailure::kTrailer);
}

// Catches a file that is closed well without a header, and one that is closed twice.
TEST_F(MatroskaFile, Closing) {
  ASSERT_EQ(open(), MatroskaFailure::kNone);
  EXPECT_EQ(writer_.close(), MatroskaFailure::kTrailer);
  EXPECT_EQ(std::filesystem::file_size(path()), 0u);
  EXPECT_EQ(header(), MatroskaFailure::kHeader);
  EXPECT_EQ(writer_.close(), MatroskaFailure::kTrailer);
  EXPECT_EQ(writer_.context(), nullptr);
}

// Catches a frame whose time goes back taken for written, and a writer that is of no more use after it.
TEST_F(MatroskaFile, TimeGoesBack) {
  ASSERT_EQ(open(), MatroskaFailure::kNone);
  ASSERT_EQ(header(), MatroskaFailure::kNone);
  ASSERT_EQ(frame(5'000'000, 0), MatroskaFailure::kNone);
  EXPECT_EQ(frame(4'000'000, 0), MatroskaFailure::kFrame);
  EXPECT_EQ(writer_.av_error(), AVERROR(EINVAL));
  EXPECT_EQ(frame(6'000'000, 0), MatroskaFailure::kNone);
  EXPECT_EQ(writer_.av_error(), 0);
  EXPECT_EQ(writer_.close(), MatroskaFailure::kNone);
  EXPECT_EQ(stored().size(), 2u);
}

// Catches blocks whose size an int cannot hold.
TEST_F(MatroskaFile, TooManyBytes) {
  ASSERT_EQ(open(), MatroskaFailure::kNone);
  EXPECT_EQ(writer_.write_header(bytes_.data(), std::numeric_limits<int>::max()), MatroskaFailure::kExtradata);
  ASSERT_EQ(header(), MatroskaFailure::kNone);
  EXPECT_EQ(writer_.wrap_frame(bytes_.data(), std::numeric_limits<int>::max()), MatroskaFailure::kBuffer);
  EXPECT_EQ(writer_.wrap_frame(bytes_.data(), std::numeric_limits<std::size_t>::max()), MatroskaFailure::kBuffer);
  EXPECT_EQ(frame(0, 0), MatroskaFailure::kNone);
  EXPECT_EQ(writer_.close(), MatroskaFailure::kNone);
}

}  // namespace
