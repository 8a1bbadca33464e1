// What each setting of the picture does, measured in the delivered pictures. A test is named after its setting.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/effect.h"
#include "support/marker_reader.h"

namespace {

DecodedPicture mirrored(DecodedPicture picture) {
  for (int y = 0; y < picture.height; ++y) {
    const auto row = picture.luma.begin() + static_cast<std::ptrdiff_t>(y) * picture.width;
    std::reverse(row, row + picture.width);
  }
  return picture;
}

/// The picture turned clockwise once.
DecodedPicture turned(const DecodedPicture &picture) {
  DecodedPicture result = picture;
  result.width = picture.height;
  result.height = picture.width;
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      result.luma[static_cast<std::size_t>(x * result.width + picture.height - 1 - y)] =
          static_cast<std::uint8_t>(picture.at(x, y));
    }
  }
  return result;
}

TEST_F(Effect, input) {
  const DecodedPicture pattern = picture({kSize, kRaw});
  for (const guint32 input : {1U, 2U, 3U}) {
    const DecodedPicture other = picture({kSize, kRaw, {"input", input}});
    EXPECT_GT(difference(pattern, other), 10) << input;
  }
  const DecodedPicture gray = picture({kSize, kRaw, kStill});
  EXPECT_TRUE(std::all_of(gray.luma.begin(), gray.luma.end(), [&](std::uint8_t y) { return y == gray.luma[0]; }));
}

// A quarter of the scene fills the picture.
TEST_F(Effect, channel) {
  configure("pacing=virtual\ngraph=smptebars=size=192x128:rate=10");
  const DecodedPicture whole = picture({kSize, kRaw});
  for (guint32 channel = 1; channel <= 4; ++channel) {
    const DecodedPicture quarter = picture({kSize, kRaw, {"channel", channel}});
    const int left = (channel - 1) % 2 == 0 ? 0 : kWidth / 2;
    const int top = (channel - 1) / 2 == 0 ? 0 : kHeight / 2;
    double sum = 0;
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x)
        sum += std::abs(quarter.at(x, y) - whole.at(left + x / 2, top + y / 2));
    }
    EXPECT_LT(sum / (kWidth * kHeight), 4) << channel;
  }
}

TEST_F(Effect, rotation) {
  configure("pacing=virtual\ngraph=testsrc2=size=128x128:rate=10");
  const zel_pair32u square{128, 128};
  const auto at = [&](guint32 degrees) {
    create({{"resolution", square}, kRaw, {"rotation", degrees}});
    start();
    return from_raw(fetch(), "yuv420p", 128, 128);
  };
  const DecodedPicture upright = at(0);
  EXPECT_LT(difference(turned(upright), at(90)), 1);
  EXPECT_LT(difference(turned(turned(upright)), at(180)), 1);
  EXPECT_LT(difference(turned(turned(turned(upright))), at(270)), 1);
  const DecodedPicture wide = picture({kSize, kRaw, {"rotation", guint32{90}}});
  EXPECT_EQ(wide.width, kWidth);
}

TEST_F(Effect, horizontal_flip) {
  const DecodedPicture plain = picture({kSize, kRaw});
  const DecodedPicture flipped = picture({kSize, kRaw, {"horizontal_flip", true}});
  EXPECT_GT(difference(plain, flipped), 10);
  EXPECT_EQ(difference(mirrored(plain), flipped), 0);
}

TEST_F(Effect, mirror) {
  const DecodedPicture plain = picture({kSize, kRaw});
  EXPECT_EQ(difference(mirrored(plain), picture({kSize, kRaw, {"mirror", true}})), 0);
  EXPECT_EQ(difference(mirrored(plain), picture({kSize, kRaw, {"mirror", true}, {"horizontal_flip", true}})), 0);
}

TEST_F(Effect, monochrome) {
  const auto colour = [](const DecodedPicture &shown) {
    int most = 0;
    for (const std::uint8_t sample : shown.blue)
      most = std::max(most, std::abs(sample - 128));
    for (const std::uint8_t sample : shown.red)
      most = std::max(most, std::abs(sample - 128));
    return most;
  };
  EXPECT_GT(colour(picture({kSize, kRaw})), 50);
  EXPECT_LE(colour(picture({kSize, kRaw, {"monochrome", true}})), 1);
}

TEST_F(Effect, privacy) {
  const DecodedPicture plain = picture({kSize, kRaw, kStill});
  const DecodedPicture masked = picture({kSize, kRaw, kStill, {"privacy", true}});
  EXPECT_LE(masked.at(kWidth / 2, kHeight / 2), 16);
  EXPECT_EQ(difference(plain, masked, 0, 0, kWidth, kHeight / 4), 0);
}

TEST_F(Effect, overlays) {
  const DecodedPicture plain = picture({kSize, kRaw, kStill});
  for (const char *words : {"text", "image, all"}) {
    const DecodedPicture written = picture({kSize, kRaw, kStill, {"overlays", words}});
    EXPECT_GT(difference(plain, written, 4, 4, 60, 16), 20);
    EXPECT_EQ(difference(plain, written, 0, kHeight / 2, kWidth, kHeight / 2), 0);
  }
  for (const char *words : {"off", "image application sync"}) {
    EXPECT_EQ(difference(plain, picture({kSize, kRaw, kStill, {"overlays", words}})), 0);
  }
}

TEST_F(Effect, crop) {
  configure("pacing=virtual\ngraph=testsrc2=size=384x256:rate=10");
  create({kRaw, {"crop", zel_quad32u{96, 32, kWidth, kHeight}}});
  EXPECT_EQ(info("width"), kWidth);
  EXPECT_EQ(info("height"), kHeight);
  start();
  const DecodedPicture cropped = from_raw(fetch(), "yuv420p", kWidth, kHeight);
  create({kRaw, {"resolution", zel_pair32u{384, 256}}});
  start();
  const DecodedPicture whole = from_raw(fetch(), "yuv420p", 384, 256);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x)
      ASSERT_EQ(cropped.at(x, y), whole.at(x + 96, y + 32)) << x << "," << y;
  }
  EXPECT_EQ(refusal({{"crop", zel_quad32u{200, 0, 192, 128}}}).code, 4);
  EXPECT_EQ(refusal({{"channel", guint32{1}}, {"crop", zel_quad32u{96, 32, kWidth, kHeight}}}).code, 4);
}

// A wide scene in a picture of another shape: clipped, between bars, or distorted.
TEST_F(Effect, image_fit) {
  configure("pacing=virtual\ngraph=smptehdbars=size=512x128:rate=10,eq=brightness=0.2");
  const DecodedPicture stretched = picture({kSize, kRaw});
  const DecodedPicture shrunk = picture({kSize, kRaw, {"image.fit", "scale"}});
  const DecodedPicture clipped = picture({kSize, kRaw, {"image.fit", "crop"}});
  for (int x = 0; x < kWidth; x += 8) {
    EXPECT_LE(shrunk.at(x, 4), 17);
    EXPECT_LE(shrunk.at(x, kHeight - 5), 17);
    EXPECT_GT(stretched.at(x, 4), 40);
    EXPECT_GT(clipped.at(x, 4), 40);
  }
  EXPECT_GT(difference(stretched, clipped), 5);
}

TEST_F(Effect, simd_align) {
  create({{"format", guint32{5}}, {"resolution", zel_pair32u{100, 64}}, {"simd.align", guint32{64}}});
  start();
  const Seen padded = fetch();
  EXPECT_EQ(padded.size, 128U * 64);
  EXPECT_EQ(padded.capacity, 128U * 64);
  const DecodedPicture decoded = from_raw(padded, "gray", 100, 64, 64);
  create({{"format", guint32{5}}, {"resolution", zel_pair32u{100, 64}}});
  start();
  EXPECT_EQ(difference(decoded, from_raw(fetch(), "gray", 100, 64)), 0);
}

}  // namespace
