// Codecs by number and name, and how many bytes uncompressed frames have.
#include "formats/video_format.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

extern "C" {
#include <libavutil/imgutils.h>
}

namespace {

using formats::Codec;

constexpr Codec kAll[] = {Codec::kH264, Codec::kH265, Codec::kJpeg, Codec::kAv1,
                          Codec::kNv12, Codec::kI420, Codec::kGray, Codec::kRgb};

// Catches a codec with another's number, and numbers that are taken for one.
TEST(VideoFormat, Numbers) {
  EXPECT_EQ(formats::codec_of_format(0), Codec::kH264);
  EXPECT_EQ(formats::codec_of_format(1), Codec::kH265);
  EXPECT_EQ(formats::codec_of_format(2), Codec::kJpeg);
  EXPECT_EQ(formats::codec_of_format(10), Codec::kAv1);
  for (const std::uint32_t format : {3u, 4u, 5u, 6u, 9u, 11u, 0x7FFFFFFFu, 0xFFFFFFFFu})
    EXPECT_EQ(formats::codec_of_format(format), std::nullopt) << format;
}

// Catches a name that is not the one that users type, and one that is not found again.
TEST(VideoFormat, Names) {
  constexpr std::string_view kNames[] = {"h264", "h265", "jpeg", "av1", "nv12", "i420", "gray", "rgb"};
  for (std::size_t i = 0; i < std::size(kAll); ++i) {
    EXPECT_EQ(formats::codec_name(kAll[i]), kNames[i]);
    EXPECT_EQ(formats::codec_named(kNames[i]), kAll[i]);
  }
  for (const char *name : {"", "H264", "h26", "h2644", "hevc", "mjpeg"})
    EXPECT_EQ(formats::codec_named(name), std::nullopt) << name;
}

// Catches a wrong number of libavcodec's, and uncompressed frames taken for what has none.
TEST(VideoFormat, CodecIds) {
  EXPECT_EQ(formats::codec_id(Codec::kH264), AV_CODEC_ID_H264);
  EXPECT_EQ(formats::codec_id(Codec::kH265), AV_CODEC_ID_HEVC);
  EXPECT_EQ(formats::codec_id(Codec::kJpeg), AV_CODEC_ID_MJPEG);
  EXPECT_EQ(formats::codec_id(Codec::kAv1), AV_CODEC_ID_AV1);
  for (const Codec codec : kAll) {
    EXPECT_EQ(formats::is_uncompressed(codec), codec >= Codec::kNv12);
    if (codec >= Codec::kNv12) {
      EXPECT_EQ(formats::codec_id(codec), AV_CODEC_ID_NONE);
    } else {
      EXPECT_EQ(formats::codec_of_id(formats::codec_id(codec)), codec);
    }
  }
  EXPECT_EQ(formats::codec_of_id(AV_CODEC_ID_NONE), std::nullopt);
  EXPECT_EQ(formats::codec_of_id(AV_CODEC_ID_RAWVIDEO), std::nullopt);
}

// Catches sizes other than those of the pictures that FFmpeg lays out without padding, odd ones above all.
TEST(VideoFormat, FrameBytes) {
  constexpr struct {
    Codec codec;
    AVPixelFormat pixels;
  } kKinds[] = {{Codec::kNv12, AV_PIX_FMT_NV12},
                {Codec::kI420, AV_PIX_FMT_YUV420P},
                {Codec::kGray, AV_PIX_FMT_GRAY8},
                {Codec::kRgb, AV_PIX_FMT_RGB24}};
  for (const auto &[codec, pixels] : kKinds) {
    for (const int width : {1, 2, 3, 640, 641, 1919, 4096}) {
      for (const int height : {1, 2, 3, 480, 481, 1079}) {
        EXPECT_EQ(formats::frame_bytes(codec, static_cast<unsigned>(width), static_cast<unsigned>(height)),
                  static_cast<unsigned>(av_image_get_buffer_size(pixels, width, height, 1)))
            << formats::codec_name(codec) << " " << width << "x" << height;
      }
    }
  }
}

// Catches sums that overflow, and bytes for what has no fixed size.
TEST(VideoFormat, FrameBytesAtTheEnds) {
  constexpr std::uint32_t kMost = std::numeric_limits<std::int32_t>::max();
  EXPECT_EQ(formats::frame_bytes(Codec::kRgb, kMost, kMost), 13835058042397261827u);
  EXPECT_EQ(formats::frame_bytes(Codec::kI420, kMost, kMost), 6917529023346114561u);
  EXPECT_EQ(formats::frame_bytes(Codec::kRgb, kMost + 1, 1), 0u);
  EXPECT_EQ(formats::frame_bytes(Codec::kGray, 1, 0xFFFFFFFF), 0u);
  EXPECT_EQ(formats::frame_bytes(Codec::kNv12, 0, 480), 0u);
  EXPECT_EQ(formats::frame_bytes(Codec::kH264, 640, 480), 0u);
}

}  // namespace
